// SPDX-License-Identifier: Apache-2.0
// The allocator of C++ code.
#include <cstdlib>
#include <new>

#include "FaultLedger.h"
#include "FaultMemory.h"

namespace {

void* OrThrow(void* block) {
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

} // namespace

#ifdef __SANITIZE_ADDRESS__
#define HELD_BY_SANITIZER
#elif defined(__SANITIZE_THREAD__)
#define HELD_BY_SANITIZER
#endif

#ifdef HELD_BY_SANITIZER
void* AllocateFor(const void* caller, std::size_t size) noexcept {
    return fault_ledger::RefusesMemory(caller) ? nullptr : std::malloc(size > 0 ? size : 1);
}
#endif

void* operator new(std::size_t size) {
    return OrThrow(AllocateFor(__builtin_return_address(0), size));
}
void* operator new[](std::size_t size) {
    return OrThrow(AllocateFor(__builtin_return_address(0), size));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return AllocateFor(__builtin_return_address(0), size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return AllocateFor(__builtin_return_address(0), size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
    std::free(block);
}
