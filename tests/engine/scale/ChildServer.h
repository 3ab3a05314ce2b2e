// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server in a process of its own, with descriptors of its own, for thousands of connections.
#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

/// Listens on 127.0.0.1 and answers every request with "200 OK" and "answer". One thread; the process ends with it.
///
/// "/hold" is answered when so many requests for it wait; "/highest" with the greatest number of connections that were
/// open at once, "/accepted" with how many there were in all.
class ChildServer {
public:
    /// @param together how many requests for "/hold" are answered together.
    explicit ChildServer(std::size_t together = 1);
    ~ChildServer();
    ChildServer(const ChildServer&) = delete;
    ChildServer& operator=(const ChildServer&) = delete;

    unsigned short port() const { return m_port; }
    std::string place() const { return "127.0.0.1:" + std::to_string(m_port); }
    std::string origin() const { return "http://" + place(); }

private:
    unsigned short m_port = 0;
    pid_t m_process = -1;
};
