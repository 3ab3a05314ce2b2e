// SPDX-License-Identifier: Apache-2.0
/// @file
/// A web server to measure against.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include <sys/types.h>

/// What a server of mutual TLS shows, and whom it lets in: texts in PEM.
struct ServerTls {
    std::string certificate;
    std::string key;
    std::string clientCa;
};

/// nginx on free loopback ports, with one worker; stopped when it goes out of scope.
/// GET /128 answers 128 bytes, GET /1m answers 1 MiB, POST /sink takes a body and answers 128 bytes.
class Nginx {
public:
    static constexpr int ADDRESSES = 30;
    /// @param number 0 to ADDRESSES - 1. @return a loopback address at which Port() is served, too.
    static std::string Address(int number);

    /// @throw std::runtime_error when it does not come up.
    explicit Nginx(const ServerTls& tls);
    ~Nginx();
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    std::uint16_t Port() const { return m_port; }
    /// Closes the connection after each answer.
    std::uint16_t ClosingPort() const { return m_closingPort; }
    /// Mutual TLS.
    std::uint16_t TlsPort() const { return m_tlsPort; }
    /// Mutual TLS, a full handshake for each answer.
    std::uint16_t ClosingTlsPort() const { return m_closingTlsPort; }
    /// Mutual TLS, a connection for each answer, and tickets with which a handshake is resumed.
    std::uint16_t ResumingTlsPort() const { return m_resumingTlsPort; }

private:
    void WriteFiles() const;
    void WriteServer(std::ostream& conf, std::uint16_t port, const std::string& settings) const;
    void Start();
    bool IsRunning();
    void Stop();
    bool Answers() const;

    std::string m_directory;
    std::uint16_t m_port = 0;
    std::uint16_t m_closingPort = 0;
    std::uint16_t m_tlsPort = 0;
    std::uint16_t m_closingTlsPort = 0;
    std::uint16_t m_resumingTlsPort = 0;
    pid_t m_process = -1;
};
