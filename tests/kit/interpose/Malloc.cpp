// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>

#include "interpose/Allocations.h"
#include "interpose/Tally.h"

// glibc's own entrances to its allocator. dlsym() would not do here: it may allocate itself.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace httpclient::testing {

namespace {

thread_local Tally t_tally;

bool Refused() {
    if (!t_tally.Refuses()) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

CountedMalloc::CountedMalloc(std::size_t failing) {
    t_tally.Arm(failing);
}

CountedMalloc::~CountedMalloc() {
    t_tally.Disarm();
}

std::size_t CountedMalloc::Count() const {
    return t_tally.asked;
}

} // namespace httpclient::testing

using httpclient::testing::Refused;

extern "C" void* malloc(std::size_t size) noexcept {
    return Refused() ? nullptr : __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) noexcept {
    return Refused() ? nullptr : __libc_calloc(count, size);
}

extern "C" void* realloc(void* memory, std::size_t size) noexcept {
    return Refused() ? nullptr : __libc_realloc(memory, size);
}
