// SPDX-License-Identifier: Apache-2.0
/// @file
/// The system calls on sockets as this room makes them.
#pragma once

#include <cerrno>
#include <cstddef>
#include <system_error>

#include <sys/types.h>
#include <sys/uio.h>

#include "net/Descriptor.h"
#include "net/Net.h"

namespace httpclient::net {

/// The number of a failed system call as an error.
inline std::error_code SystemError(int number) noexcept {
    return {number, std::system_category()};
}

/// Whether an operation would have had to wait.
inline bool WouldBlock(int number) noexcept {
    return number == EAGAIN || number == EWOULDBLOCK;
}

/// Repeats a system call that a signal interrupted.
template <class Call> auto Uninterrupted(Call call) noexcept {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// A non-blocking stream socket, close-on-exec from the start, without Nagle.
/// @param[out] error why there is none.
Descriptor OpenSocket(int family, std::error_code& error) noexcept;
/// One sendmsg(); never raises SIGPIPE.
ssize_t Send(int fd, const iovec* pieces, int count) noexcept;
/// One send(); never raises SIGPIPE.
ssize_t Send(int fd, const void* bytes, std::size_t size) noexcept;
/// One recv().
ssize_t Receive(int fd, void* to, std::size_t room) noexcept;
/// What lies at the socket, without taking it. @return whether nothing does: neither byte, nor end, nor error.
bool NothingArrived(int fd) noexcept;

} // namespace httpclient::net
