// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stands before socket() and connect(): link Connects.cpp.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "net/Net.h"

/// Decides, on the thread that made it, what becomes of connections to some addresses while it lives.
class Connects {
public:
    Connects();
    ~Connects();
    Connects(const Connects&) = delete;
    Connects& operator=(const Connects&) = delete;

    /// Has every try at this address end with this error (EINPROGRESS: never ends). 0: as the kernel has it.
    void Set(const httpclient::net::Endpoint& endpoint, int error);
    /// Has socket() fail; 0: no more.
    void FailSockets(int error) { m_socketError = error; }
    /// Has the next socket() give a copy of this one.
    void Lend(int fd) { m_lent = fd; }
    /// The addresses that were begun with, in order: once per socket.
    const std::vector<std::string>& begun() const { return m_begun; }

    /// @cond INTERNAL
    int SocketError() const { return m_socketError; }
    int Lent() { return std::exchange(m_lent, -1); }
    void Forget(int fd) { m_sockets.erase(fd); }
    int Begin(int fd, const void* address, std::size_t size);
    /// @endcond

private:
    std::map<std::string, int> m_errors; // by the bytes of the address
    std::vector<std::string> m_begun;
    std::map<int, std::string> m_sockets;
    int m_socketError = 0;
    int m_lent = -1;
};

/// What an address is called in Connects::begun(): its bytes.
std::string BytesOf(const httpclient::net::Endpoint& endpoint);
