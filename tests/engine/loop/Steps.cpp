// SPDX-License-Identifier: Apache-2.0
#include "loop/Steps.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include <fcntl.h>
#include <netdb.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

struct Held {
    std::shared_mutex lock;
    std::function<void(const Step&)> before;
    std::atomic<bool> on{false};
    std::atomic<std::size_t> sendAtMost{0};
};

Held& TheHeld() {
    static Held& held = *new Held; // threads may outlive main()
    return held;
}

/// Made before main(): a child that is forked while another thread makes it would wait for it for ever.
[[maybe_unused]] const Held& g_madeEarly = TheHeld();

thread_local bool t_onLoop = false;
thread_local bool t_within = false;

void See(Step::What what, int fd = -1) {
    Held& held = TheHeld();
    if (!held.on.load() || t_within) {
        return;
    }
    t_within = true;
    {
        const std::shared_lock<std::shared_mutex> lock(held.lock);
        if (held.before) {
            held.before({what, fd, t_onLoop});
        }
    }
    t_within = false;
}

} // namespace

Steps::Steps(std::function<void(const Step&)> before) {
    const std::unique_lock<std::shared_mutex> lock(TheHeld().lock);
    TheHeld().before = std::move(before);
    TheHeld().on = true;
}

Steps::~Steps() {
    const std::unique_lock<std::shared_mutex> lock(TheHeld().lock);
    TheHeld().on = false;
    TheHeld().before = nullptr;
    TheHeld().sendAtMost = 0;
}

void Steps::SendAtMost(std::size_t bytes) {
    TheHeld().sendAtMost = bytes;
}

extern "C" {

int epoll_wait(int epfd, epoll_event* events, int most, int timeout) {
    static auto* const next = Next<int(int, epoll_event*, int, int)>("epoll_wait");
    t_onLoop = true;
    See(Step::What::Turn);
    return next(epfd, events, most, timeout);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
    static auto* const next = Next<int(int, const sockaddr*, socklen_t)>("connect");
    See(Step::What::Connect, fd);
    return next(fd, address, size);
}

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const next = Next<ssize_t(int, const msghdr*, int)>("sendmsg");
    See(Step::What::Send, fd);
    const std::size_t most = TheHeld().sendAtMost;
    if (!t_onLoop || most == 0) {
        return next(fd, message, flags);
    }
    iovec less = message->msg_iov[0]; // a head goes without its body
    less.iov_len = std::min(less.iov_len, most);
    msghdr shorter = *message;
    shorter.msg_iov = &less;
    shorter.msg_iovlen = 1;
    return next(fd, &shorter, flags);
}

ssize_t recv(int fd, void* to, std::size_t room, int flags) {
    static auto* const next = Next<ssize_t(int, void*, std::size_t, int)>("recv");
    See(Step::What::Receive, fd);
    return next(fd, to, room, flags);
}

int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    static auto* const next = Next<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
    See(Step::What::LookUp);
    return next(node, service, hints, result);
}

FILE* fopen(const char* path, const char* mode) {
    static auto* const next = Next<FILE*(const char*, const char*)>("fopen");
    See(Step::What::Open);
    return next(path, mode);
}

int open(const char* path, int flags, ...) {
    static auto* const next = Next<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    See(Step::What::Open);
    return next(path, flags, mode);
}

// The same functions here, where files are large anyway.
FILE* fopen64(const char* path, const char* mode) __attribute__((alias("fopen")));
int open64(const char* path, int flags, ...) __attribute__((alias("open")));

} // extern "C"
