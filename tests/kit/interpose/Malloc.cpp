// SPDX-License-Identifier: Apache-2.0
// malloc(), calloc(), realloc() and free() of the whole process.
#include <cerrno>

#include "interpose/Heap.h"

namespace {

using httpclient::testing::c_heap::GivingBack;
using httpclient::testing::c_heap::Refuses;
using httpclient::testing::c_heap::Taken;

bool Refused(const void* caller) {
    if (!Refuses(caller)) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

void* Noted(void* block, const void* caller) {
    Taken(block, caller);
    return block;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
    const void* const caller = __builtin_return_address(0);
    return Refused(caller) ? nullptr : Noted(__libc_malloc(size), caller);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    const void* const caller = __builtin_return_address(0);
    return Refused(caller) ? nullptr : Noted(__libc_calloc(count, size), caller);
}

void* realloc(void* block, std::size_t size) noexcept {
    const void* const caller = __builtin_return_address(0);
    if (Refused(caller)) {
        return nullptr;
    }
    GivingBack(block); // before another thread can be given its place
    return Noted(__libc_realloc(block, size), caller);
}

void free(void* block) noexcept {
    GivingBack(block);
    __libc_free(block);
}

} // extern "C"
