// SPDX-License-Identifier: Apache-2.0
// Operator new alone, for builds with a sanitizer: its allocator cannot be held. The other forms call these.
#include <cstdlib>
#include <new>

#include "FaultLedger.h"

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return fault_ledger::Refuses(Fault::Memory) ? nullptr : std::malloc(size > 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void* operator new(std::size_t size) {
    void* const block = operator new(size, std::nothrow);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void* operator new[](std::size_t size) {
    return operator new(size);
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
