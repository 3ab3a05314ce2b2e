// SPDX-License-Identifier: Apache-2.0
/// @file
/// The allocator behind operator new.
#pragma once

#include <cstddef>

/// Allocates, unless this is the call to fail. @return null when it is.
/// @param caller who asks for the memory.
void* AllocateFor(const void* caller, std::size_t size) noexcept;
