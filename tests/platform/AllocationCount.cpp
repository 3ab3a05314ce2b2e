// SPDX-License-Identifier: Apache-2.0
#include "AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {
thread_local long t_allocations = 0;
}

long AllocationCount() {
    return t_allocations;
}

bool CountsAllocations() {
    const long before = AllocationCount();
    ::operator delete(::operator new(1));
    return AllocationCount() > before;
}

// Replaces the ordinary forms for the whole program, the shared libraries included.
void* operator new(std::size_t size) {
    ++t_allocations;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
