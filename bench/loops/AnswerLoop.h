// SPDX-License-Identifier: Apache-2.0
/// @file
/// The server of those that are compared.
#pragma once

#include <chrono>
#include <cstdint>

#include "tests/support/Process.h"

/// An epoll loop that answers each request with 128 bytes, a time after it came, on a free loopback port. It reads nothing
/// of a request, so that it keeps up with the fastest of those that are compared. A process of its own: to be made
/// before any thread.
class AnswerLoop {
public:
    /// @throw std::system_error when it does not come up.
    explicit AnswerLoop(std::chrono::milliseconds after);

    std::uint16_t Port() const { return m_port; }

private:
    std::uint16_t m_port = 0;
    httpclient::testing::ChildProcess m_process;
};
