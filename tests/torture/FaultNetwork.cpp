// SPDX-License-Identifier: Apache-2.0
// The calls into the system that a connection is made and used with, and those of an event loop.
#include <cerrno>
#include <cstddef>
#include <initializer_list>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "FaultLedger.h"
#include "interpose/Next.h"

using fault_ledger::Refuses;
using httpclient::testing::Next;

namespace {

/// @param errors that the call may have, in the order of the plan's variants.
bool Fails(std::initializer_list<int> errors) {
    if (!Refuses(Fault::Network)) {
        return false;
    }
    errno = *(errors.begin() + fault_ledger::Variant() % errors.size());
    return true;
}

bool IsInterrupted() {
    if (!Refuses(Fault::Interruption)) {
        return false;
    }
    errno = EINTR;
    return true;
}

bool NoDescriptor() {
    if (!Refuses(Fault::Descriptor)) {
        return false;
    }
    errno = EMFILE;
    return true;
}

} // namespace

extern "C" {

int connect(int fd, const sockaddr* address, socklen_t size) {
    static auto* const next = Next<int(int, const sockaddr*, socklen_t)>("connect");
    if (Fails({ENOBUFS, ECONNREFUSED, ENETUNREACH})) {
        return -1;
    }
    const int result = next(fd, address, size);
    return IsInterrupted() ? -1 : result; // which it goes on in spite of
}

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const next = Next<ssize_t(int, const msghdr*, int)>("sendmsg");
    return Fails({ENOBUFS, ECONNRESET, EPIPE}) || IsInterrupted() ? -1 : next(fd, message, flags);
}

ssize_t send(int fd, const void* bytes, std::size_t size, int flags) {
    static auto* const next = Next<ssize_t(int, const void*, std::size_t, int)>("send");
    return Fails({ENOBUFS, ECONNRESET, EPIPE}) || IsInterrupted() ? -1 : next(fd, bytes, size, flags);
}

ssize_t recv(int fd, void* to, std::size_t room, int flags) {
    static auto* const next = Next<ssize_t(int, void*, std::size_t, int)>("recv");
    return Fails({ENOMEM, ECONNRESET, ETIMEDOUT}) || IsInterrupted() ? -1 : next(fd, to, room, flags);
}

ssize_t read(int fd, void* to, std::size_t room) {
    static auto* const next = Next<ssize_t(int, void*, std::size_t)>("read");
    return Fails({EIO}) || IsInterrupted() ? -1 : next(fd, to, room);
}

int poll(pollfd* watched, nfds_t count, int timeout) {
    static auto* const next = Next<int(pollfd*, nfds_t, int)>("poll");
    return Fails({ENOMEM}) || IsInterrupted() ? -1 : next(watched, count, timeout);
}

int getsockname(int fd, sockaddr* address, socklen_t* size) noexcept {
    static auto* const next = Next<int(int, sockaddr*, socklen_t*)>("getsockname");
    return Fails({ENOBUFS}) ? -1 : next(fd, address, size);
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t size) noexcept {
    static auto* const next = Next<int(int, int, int, const void*, socklen_t)>("setsockopt");
    return Fails({ENOMEM, ENOPROTOOPT}) ? -1 : next(fd, level, name, value, size);
}

int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    static auto* const next = Next<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
    if (!Fails({ENOMEM, ECONNREFUSED, EMFILE})) {
        return next(node, service, hints, result);
    }
    constexpr int CODES[] = {EAI_MEMORY, EAI_AGAIN, EAI_SYSTEM};
    return CODES[fault_ledger::Variant() % std::size(CODES)];
}

int epoll_ctl(int set, int what, int fd, epoll_event* event) noexcept {
    static auto* const next = Next<int(int, int, int, epoll_event*)>("epoll_ctl");
    return what != EPOLL_CTL_DEL && Fails({ENOMEM, ENOSPC}) ? -1 : next(set, what, fd, event);
}

int epoll_wait(int set, epoll_event* events, int most, int timeout) {
    static auto* const next = Next<int(int, epoll_event*, int, int)>("epoll_wait");
    return IsInterrupted() ? -1 : next(set, events, most, timeout);
}

int epoll_create1(int flags) noexcept {
    static auto* const next = Next<int(int)>("epoll_create1");
    return NoDescriptor() ? -1 : next(flags);
}

int eventfd(unsigned int count, int flags) noexcept {
    static auto* const next = Next<int(unsigned int, int)>("eventfd");
    return NoDescriptor() ? -1 : next(count, flags);
}

int pipe2(int* ends, int flags) noexcept {
    static auto* const next = Next<int(int*, int)>("pipe2");
    return NoDescriptor() ? -1 : next(ends, flags);
}

} // extern "C"
