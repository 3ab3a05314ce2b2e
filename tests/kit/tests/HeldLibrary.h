// SPDX-License-Identifier: Apache-2.0
/// @file
/// A shared library that asks for the time and waits, as the library under test does.
#pragma once

#include <ctime>

#define HELD_LIBRARY_EXPORT __attribute__((visibility("default")))

HELD_LIBRARY_EXPORT std::time_t LibraryTime();
HELD_LIBRARY_EXPORT void LibrarySleep(long seconds, long nanoseconds);
/// @return what select() without descriptors returns.
HELD_LIBRARY_EXPORT int LibrarySelect(long seconds, long microseconds);
/// Allocates and frees with operator new. @return whether there was memory.
HELD_LIBRARY_EXPORT bool LibraryNew();
/// Allocates and frees with malloc(). @return whether there was memory.
HELD_LIBRARY_EXPORT bool LibraryMalloc();
