// SPDX-License-Identifier: Apache-2.0
#include "net/Socket.h"

#include <algorithm>
#include <cerrno>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace httpclient::net {

namespace {

constexpr int MAX_PIECES = 1024; // what one system call takes

} // namespace

Descriptor OpenSocket(int family, std::error_code& error) noexcept {
    Descriptor opened(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!opened) {
        error = SystemError(errno);
        return opened;
    }
    if (family == AF_INET || family == AF_INET6) {
        const int on = 1; // a socket that does not take it works all the same
        static_cast<void>(setsockopt(opened.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on));
    }
    return opened;
}

ssize_t Send(int fd, const iovec* pieces, int count) noexcept {
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(pieces); // only read
    message.msg_iovlen = static_cast<std::size_t>(std::min(count, MAX_PIECES));
    return Uninterrupted([&] { return sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
}

ssize_t Send(int fd, const void* bytes, std::size_t size) noexcept {
    return Uninterrupted([&] { return send(fd, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT); });
}

ssize_t Receive(int fd, void* to, std::size_t room) noexcept {
    return Uninterrupted([&] { return recv(fd, to, room, MSG_DONTWAIT); });
}

bool NothingArrived(int fd) noexcept {
    char byte = 0;
    const ssize_t count = Uninterrupted([&] { return recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT); });
    return count < 0 && WouldBlock(errno);
}

} // namespace httpclient::net
