// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server whose answers are always the same bytes, so that counts can be repeated.
#pragma once

#include <cstdint>

#include <httpclient/testing/LoopbackServer.h>

/// Answers every request, of whatever path and body, with 128 bytes and the header lines of a usual web
/// server. It takes its time, so that the client always has waited when the answer comes: whether it had to
/// would change what it executes.
class AnswerServer {
public:
    /// @throw std::system_error when it cannot listen.
    AnswerServer();

    std::uint16_t Port() const { return m_server.port(); }

private:
    httpclient::testing::LoopbackServer m_server;
};
