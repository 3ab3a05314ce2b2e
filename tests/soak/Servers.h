// SPDX-License-Identifier: Apache-2.0
/// @file
/// The servers, in a process of their own: what they use is not measured, and they can die.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <string>

#include "tests/support/Process.h"

/// The servers by what they are for. Handles keep what a request sets on them, and an address has its own
/// handles, so what must not meet has its own server.
enum ServerKind { ServerPlain, ServerHead, ServerMutualTls, ServerAsyncTls, ServerKinds };

using Ports = std::array<int, ServerKinds>;

/// Starts the servers, and starts them again on the same ports.
class Servers {
public:
    /// @throw std::runtime_error when they do not start.
    Servers(std::string address, std::string directory);
    ~Servers();
    Servers(const Servers&) = delete;
    Servers& operator=(const Servers&) = delete;

    const std::string& address() const { return m_address; }
    int port(ServerKind kind) const { return m_ports[kind]; }
    /// Kills them amid whatever they do, and starts them anew.
    void Restart();
    /// @return whether they are down, or were a short while ago: then requests may fail.
    bool Disturbed() const;

private:
    using Clock = std::chrono::steady_clock;

    void Start();
    void Kill();

    std::string m_address;
    std::string m_directory;
    Ports m_ports{};
    httpclient::testing::ChildProcess m_child;
    std::atomic<Clock::rep> m_calmFrom{0};
};

/// The servers' own process: serves until it is killed, or until its parent has gone.
/// @param ports 0 for any free one.
/// @param announce where the ports are written to, once all listen.
int Serve(const std::string& address, const std::string& directory, const Ports& ports, int announce);
