// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bounds-checked memory functions.
#pragma once

#include <cstddef>

/// Fills memory; never optimised away.
/// @param dest the memory.
/// @param destMax its size in bytes.
/// @param c the byte to fill with.
/// @param count how many bytes to fill.
/// @return 0; another value, and nothing is filled beyond destMax, when dest is null or count exceeds destMax.
extern "C" __attribute__((visibility("default"))) int memset_s(void* dest, std::size_t destMax, int c,
                                                               std::size_t count);
