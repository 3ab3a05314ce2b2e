// SPDX-License-Identifier: Apache-2.0
#include "HeldLibrary.h"

#include <cstdlib>
#include <memory>
#include <new>

#include <sys/select.h>

namespace {

// Kept where the compiler cannot see that nobody looks, lest it leave the allocation out.
void* volatile g_memory = nullptr;

} // namespace

std::time_t LibraryTime() {
    return time(nullptr);
}

void LibrarySleep(long seconds, long nanoseconds) {
    const timespec wanted{seconds, nanoseconds};
    nanosleep(&wanted, nullptr);
}

int LibrarySelect(long seconds, long microseconds) {
    timeval timeout{seconds, microseconds};
    fd_set none;
    FD_ZERO(&none);
    return select(0, &none, nullptr, nullptr, &timeout);
}

bool LibraryNew() {
    try {
        const auto memory = std::make_unique<int>(1);
        g_memory = memory.get();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool LibraryMalloc() {
    g_memory = std::malloc(1);
    const bool there = g_memory != nullptr;
    std::free(g_memory);
    return there;
}
