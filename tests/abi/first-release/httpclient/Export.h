// SPDX-License-Identifier: Apache-2.0
/// @file
/// Marks what the shared library exports; everything else in it is hidden.
#pragma once

/// Exports a class, a function or a variable.
#define HTTPCLIENT_EXPORT __attribute__((visibility("default")))
