// SPDX-License-Identifier: Apache-2.0
/// @file
/// A handler that takes 50 ms.
#pragma once

#include <cstdint>

#include <sys/types.h>

/// Answers 128 bytes 50 ms after a request has come, any number of them at once, on a free loopback port. A
/// process of its own, so that its work does not count as the client's: to be made before any thread.
class SlowServer {
public:
    SlowServer();
    ~SlowServer();
    SlowServer(const SlowServer&) = delete;
    SlowServer& operator=(const SlowServer&) = delete;

    std::uint16_t Port() const { return m_port; }

private:
    void Stop() const;

    std::uint16_t m_port = 0;
    pid_t m_process = -1;
};
