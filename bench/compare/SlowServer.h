// SPDX-License-Identifier: Apache-2.0
/// @file
/// A handler that takes 50 ms.
#pragma once

#include <cstdint>

#include "tests/support/Process.h"

/// Answers 128 bytes 50 ms after a request has come, any number of them at once, on a free loopback port. A
/// process of its own, so that its work does not count as the client's: to be made before any thread.
class SlowServer {
public:
    SlowServer();

    std::uint16_t Port() const { return m_port; }

private:
    std::uint16_t m_port = 0;
    httpclient::testing::ChildProcess m_process;
};
