// SPDX-License-Identifier: Apache-2.0
/// @file
/// Connected sockets and listeners on loopback.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "net/Descriptor.h"
#include "net/Net.h"

/// Two ends of a TCP connection on loopback, both non-blocking and without Nagle.
struct SocketPair {
    SocketPair();
    httpclient::net::Descriptor ours;
    httpclient::net::Descriptor theirs;
};

/// A TCP or Unix listener that takes connections only when it is told to.
class QuietListener {
public:
    /// @param family AF_INET or AF_INET6.
    explicit QuietListener(int family = AF_INET, int backlog = 16);
    /// A Unix socket at a path.
    QuietListener(const std::string& path, int backlog);

    const httpclient::net::Endpoint& endpoint() const { return m_endpoint; }
    /// @return the next connection; waits for it.
    httpclient::net::Descriptor Accept() const;
    /// Stops: its address refuses from now on.
    void Close() { m_socket.Reset(); }

private:
    void Listen(int backlog);

    httpclient::net::Descriptor m_socket;
    httpclient::net::Endpoint m_endpoint;
};

/// @return an address of loopback where nobody listens.
httpclient::net::Endpoint RefusingEndpoint(int family = AF_INET);
/// Waits until a descriptor is ready for these events. @return whether it is.
bool WaitFor(int fd, short events);
/// Writes all of it.
void SendAll(int fd, const std::string& bytes);
/// Reads until the peer's end.
std::string ReadToEnd(int fd);
/// Whether the end of the stream has arrived, and nothing before it.
bool AtEnd(int fd);
/// Whether a descriptor is closed in a program that this process executes.
bool ClosesOnExec(int fd);
/// Closes so that the peer sees a reset.
void Reset(httpclient::net::Descriptor& socket);
