// SPDX-License-Identifier: Apache-2.0
/// @file
/// A shared library that logs, as the library under test does.
#pragma once

/// Logs "<text> <number>" as module 1 if the level is let through.
__attribute__((visibility("default"))) void LogFromLibrary(int level, const char* text, int number);
