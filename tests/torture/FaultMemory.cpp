// SPDX-License-Identifier: Apache-2.0
// The allocator of C code. Builds with a sanitizer do without: its allocator cannot be held.
#include "FaultMemory.h"

#include <cerrno>

#include "FaultLedger.h"

// glibc's own entrances. dlsym() would not do here: it may allocate itself.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}

namespace {

bool Refused(const void* caller) {
    if (!fault_ledger::RefusesMemory(caller)) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

void* AllocateFor(const void* caller, std::size_t size) noexcept {
    if (Refused(caller)) {
        return nullptr;
    }
    void* const block = __libc_malloc(size);
    fault_ledger::NoteAllocated(block, caller);
    return block;
}

extern "C" {

void* malloc(std::size_t size) noexcept {
    return AllocateFor(__builtin_return_address(0), size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    if (Refused(__builtin_return_address(0))) {
        return nullptr;
    }
    void* const block = __libc_calloc(count, size);
    fault_ledger::NoteAllocated(block, __builtin_return_address(0));
    return block;
}

void* realloc(void* memory, std::size_t size) noexcept {
    if (Refused(__builtin_return_address(0))) {
        return nullptr;
    }
    fault_ledger::NoteFreed(memory); // before another thread can be given its place
    void* const block = __libc_realloc(memory, size);
    fault_ledger::NoteAllocated(block, __builtin_return_address(0));
    return block;
}

void free(void* memory) noexcept {
    fault_ledger::NoteFreed(memory);
    __libc_free(memory);
}

} // extern "C"
