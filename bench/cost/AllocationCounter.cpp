// SPDX-License-Identifier: Apache-2.0
#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<std::size_t> g_count{0};

void CountOne() {
    g_count.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

std::size_t AllocationCount() {
    return g_count.load(std::memory_order_relaxed);
}

// glibc's own entrances to its allocator; the program's take the place of the usual ones for all libraries.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) noexcept {
    CountOne();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    CountOne();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    CountOne();
    return __libc_realloc(memory, size);
}
}
