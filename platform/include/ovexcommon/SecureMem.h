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
/// @return 0; EOVERFLOW when count exceeds destMax (the whole of dest is filled, and nothing beyond); EINVAL,
///         and nothing is filled, when dest is null or destMax is above half of the address space.
extern "C" __attribute__((visibility("default"))) int memset_s(void* dest, std::size_t destMax, int c,
                                                               std::size_t count);
