// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts the allocations of the whole program.
#pragma once

#include <cstddef>

/// @return how often malloc(), calloc(), realloc() and, through them, operator new have been called so far,
/// by any thread and any library.
std::size_t AllocationCount();
