// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the held allocators of C++ and of C come to. OperatorNew.cpp and Malloc.cpp hold all their forms, once; whoever
/// links one of them defines the functions below that it calls.
#pragma once

#include <cstddef>
#include <cstdlib>

namespace httpclient::testing {

/// What every form of operator new and delete comes to.
namespace heap {

/// Takes memory.
/// @param size in bytes, never 0.
/// @param alignment a power of two.
/// @param caller who called operator new.
/// @return null to refuse: operator new then throws std::bad_alloc, or returns null in its nothrow forms.
void* Take(std::size_t size, std::size_t alignment, const void* caller) noexcept;

/// Gives back what Take() has taken, or null.
void GiveBack(void* block) noexcept;

/// @return a size that may be asked for with an alignment: aligned_alloc() wants whole units.
constexpr std::size_t WholeUnits(std::size_t size, std::size_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

/// @return memory of this program's malloc().
inline void* FromMalloc(std::size_t size, std::size_t alignment) noexcept {
    return alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__
               ? std::malloc(size)
               : std::aligned_alloc(alignment, WholeUnits(size, alignment));
}

} // namespace heap

/// What malloc(), calloc(), realloc() and free() come to. They may not allocate.
namespace c_heap {

/// @param caller who asks for memory. @return whether it gets null and ENOMEM.
bool Refuses(const void* caller) noexcept;
/// Sees each block that was handed out; may be null.
void Taken(void* block, const void* caller) noexcept;
/// Sees each block before it goes; may be null.
void GivingBack(void* block) noexcept;

} // namespace c_heap

} // namespace httpclient::testing

// glibc's own entrances to its allocator. dlsym() would not do in an allocator: it may allocate itself.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): glibc gives the names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
