// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the files of this room share: time, addresses, the result of an operation.
#pragma once

#include <chrono>
#include <cstddef>
#include <system_error>

#include <sys/socket.h>

namespace httpclient::net {

/// The monotonic clock. Functions that need the time take it as a parameter.
using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

/// What an operation on a non-blocking socket waits for.
enum class Wants { Nothing, Read, Write };

/// The outcome of one non-blocking operation: bytes, a wish, the peer's end, or an error.
struct IoResult {
    std::size_t bytes = 0;
    Wants wants = Wants::Nothing; ///< not Nothing: try again when the socket is ready for that
    bool ended = false;           ///< reading: the peer ended the connection
    bool clean = true;            ///< ended: over TLS with close_notify; always true over TCP
    std::error_code error;        ///< system's, or OpenSSL's (TlsCategory())
};

/// An address to connect to: IPv4, IPv6 or Unix.
struct Endpoint {
    sockaddr_storage address{};
    socklen_t size = 0;
    int Family() const noexcept { return address.ss_family; }
};

} // namespace httpclient::net
