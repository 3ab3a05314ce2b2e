// SPDX-License-Identifier: Apache-2.0
/// @file
/// Listening on loopback: sockets for servers of our own, ports for those of other programs, which cannot be told to take
/// any free one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/socket.h>

namespace httpclient::testing {

/// Where a server listens.
struct Endpoint {
    std::string address; ///< An IPv4 loopback address.
    std::uint16_t port = 0;
};

/// Listens at 127.0.0.1, on a port that the kernel picks.
/// @param port the one it picked.
/// @param backlog how many connections may wait to be taken.
/// @param flags of socket(), besides SOCK_CLOEXEC.
/// @return the socket, which is the caller's to close.
/// @throw std::system_error when it cannot.
int ListenOnLoopback(std::uint16_t& port, int backlog = SOMAXCONN, int flags = 0);

/// @return ports that were free a moment ago, all different.
/// @throw std::system_error when there are none.
std::vector<std::uint16_t> FreePorts(const std::string& address, std::size_t count);

/// @return whether somebody takes connections there.
bool Answers(const Endpoint& endpoint);

} // namespace httpclient::testing
