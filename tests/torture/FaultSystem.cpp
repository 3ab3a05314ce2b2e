// SPDX-License-Identifier: Apache-2.0
// The fallible calls into the system: descriptors, threads, conversions. And select(), whose pauses are cut.
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <pthread.h>
#include <sys/select.h>

#include "FaultLedger.h"
#include "interpose/Next.h"

using fault_ledger::Refuses;
using httpclient::testing::Next;

namespace {

bool NoDescriptor() {
    if (!Refuses(Fault::Descriptor)) {
        return false;
    }
    errno = EMFILE;
    return true;
}

/// What a new thread is to run, and whom it is counted with.
struct Start {
    void* (*body)(void*);
    void* argument;
    unsigned int plan;
};

void* RunCounted(void* argument) {
    const Start start = *static_cast<Start*>(argument);
    std::free(argument);
    fault_ledger::Join(start.plan);
    return start.body(start.argument);
}

Start* MakeStart(void* (*body)(void*), void* argument) {
    const WithoutFaults exempt;
    auto* start = static_cast<Start*>(std::malloc(sizeof(Start)));
    if (start != nullptr) {
        *start = {body, argument, fault_ledger::Announce()};
    }
    return start;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    static auto* const next = Next<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned int); // meaningless unless the flags ask for it
    va_end(arguments);
    return NoDescriptor() ? -1 : next(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    static auto* const next = Next<int(const char*, int, ...)>("open64");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned int);
    va_end(arguments);
    return NoDescriptor() ? -1 : next(path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
    static auto* const next = Next<std::FILE*(const char*, const char*)>("fopen");
    return NoDescriptor() ? nullptr : next(path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
    static auto* const next = Next<std::FILE*(const char*, const char*)>("fopen64");
    return NoDescriptor() ? nullptr : next(path, mode);
}

int socket(int domain, int type, int protocol) noexcept {
    static auto* const next = Next<int(int, int, int)>("socket");
    return NoDescriptor() ? -1 : next(domain, type, protocol);
}

int socketpair(int domain, int type, int protocol, int* ends) noexcept {
    static auto* const next = Next<int(int, int, int, int*)>("socketpair");
    return NoDescriptor() ? -1 : next(domain, type, protocol, ends);
}

int pipe(int* ends) noexcept {
    static auto* const next = Next<int(int*)>("pipe");
    return NoDescriptor() ? -1 : next(ends);
}

int epoll_create(int size) noexcept {
    static auto* const next = Next<int(int)>("epoll_create");
    return NoDescriptor() ? -1 : next(size);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
    static auto* const next =
        Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    if (Refuses(Fault::Thread)) {
        return EAGAIN;
    }
    Start* const start = MakeStart(body, argument);
    const int result = next(thread, attributes, RunCounted, start);
    if (result != 0) {
        fault_ledger::Withdraw();
        std::free(start);
    }
    return result;
}

void* iconv_open(const char* to, const char* from) {
    static auto* const next = Next<void*(const char*, const char*)>("iconv_open");
    if (!Refuses(Fault::Iconv)) {
        return next(to, from);
    }
    errno = ENOMEM;
    return reinterpret_cast<void*>(-1); // NOLINT(performance-no-int-to-ptr): the interface's way to say no
}

/// A worker's pauses, which watch no descriptor, last a thousandth.
int select(int count, fd_set* toRead, fd_set* toWrite, fd_set* failed, timeval* timeout) {
    static auto* const next = Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
    if (count != 0 || timeout == nullptr) {
        return next(count, toRead, toWrite, failed, timeout);
    }
    const long microseconds = (timeout->tv_sec * 1000000L + timeout->tv_usec) / 1000;
    timeval less{microseconds / 1000000, microseconds % 1000000};
    return next(count, toRead, toWrite, failed, &less);
}

} // extern "C"
