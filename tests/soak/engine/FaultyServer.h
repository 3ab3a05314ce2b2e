// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server for thousands of calls at a time, which does what a target asks for: answer, or one of the ways not to.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "tests/support/Process.h"

/// What the last answer of "/big" holds.
constexpr std::size_t BIG = 200'000;

/// The server, in a process of its own: what it uses is not measured, and it can die.
class FaultyServer {
public:
    /// @throw std::runtime_error when it does not start.
    FaultyServer();
    FaultyServer(const FaultyServer&) = delete;
    FaultyServer& operator=(const FaultyServer&) = delete;

    /// @return "http://127.0.0.1:port", the same after each restart.
    std::string origin() const;
    /// Kills it amid whatever it does, and starts it anew.
    void Restart();
    /// @return whether it is down, or was a short while ago: then calls may fail.
    bool Disturbed() const;

private:
    using Clock = std::chrono::steady_clock;

    void Start();

    int m_port = 0;
    httpclient::testing::ChildProcess m_child;
    std::atomic<Clock::rep> m_calmFrom{0};
};

/// The server's own process: serves until it is killed, or until its parent has gone.
/// @param port 0 for any free one.
/// @param announce where the port is written to, once it listens.
/// @return only when it cannot serve: what the process ends with.
int ServeFaultily(int port, int announce);
