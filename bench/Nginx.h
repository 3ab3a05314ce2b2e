// SPDX-License-Identifier: Apache-2.0
/// @file
/// A web server to measure against.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <httpclient/testing/Environment.h>

#include "tests/support/Nginx.h"

/// nginx on free loopback ports, with one worker; stopped when it goes out of scope.
/// GET /128 answers 128 bytes, GET /1m answers 1 MiB, POST /sink takes a body and answers 128 bytes.
class Nginx {
public:
    static constexpr int ADDRESSES = 30;
    /// @param number 0 to ADDRESSES - 1. @return a loopback address at which Port() is served, too.
    static std::string Address(int number);

    /// @throw std::runtime_error when it does not come up.
    explicit Nginx(const httpclient::testing::TlsOptions& tls);

    std::uint16_t Port() const { return m_ports[0]; }
    /// Closes the connection after each answer.
    std::uint16_t ClosingPort() const { return m_ports[1]; }
    /// Mutual TLS.
    std::uint16_t TlsPort() const { return m_ports[2]; }
    /// Mutual TLS, a full handshake for each answer.
    std::uint16_t ClosingTlsPort() const { return m_ports[3]; }
    /// Mutual TLS, a connection for each answer, and tickets with which a handshake is resumed.
    std::uint16_t ResumingTlsPort() const { return m_ports[4]; }

private:
    std::string ServerBlock(std::uint16_t port, const std::string& settings) const;
    std::string ServerBlocks(const std::string& tls) const;

    httpclient::testing::TemporaryDirectory m_directory;
    std::vector<std::uint16_t> m_ports;
    httpclient::testing::NginxProcess m_process;
};
