// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server whose answers are always the same bytes, so that counts can be repeated.
#pragma once

#include <cstdint>
#include <thread>

/// Answers every request, of whatever path and body, with 128 bytes and the header lines of a usual web
/// server. It takes its time, so that the client always has waited when the answer comes: whether it had to
/// would change what it executes. On a free loopback port, one connection at a time; stopped when it goes out
/// of scope.
class AnswerServer {
public:
    /// @throw std::runtime_error when it cannot listen.
    AnswerServer();
    ~AnswerServer();
    AnswerServer(const AnswerServer&) = delete;
    AnswerServer& operator=(const AnswerServer&) = delete;

    std::uint16_t Port() const { return m_port; }

private:
    void AcceptAll() const;

    int m_listener;
    std::uint16_t m_port = 0;
    std::thread m_thread;
};
