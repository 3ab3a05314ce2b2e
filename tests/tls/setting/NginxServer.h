// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server of another make than the kit's own.
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>

/// nginx on a loopback address. Stops when this object ends.
class NginxServer {
public:
    /// @return whether nginx is installed.
    static bool Installed();

    /// @param tls how it does TLS.
    /// @param locations what stands in its server block.
    /// @param listen words to follow its address, "ssl http2", say; without "ssl" it speaks no TLS.
    /// @param address where it listens; by default where no server of another test process does.
    /// @param port the port; 0: a free one.
    /// @throw std::runtime_error when it does not come up.
    NginxServer(const httpclient::testing::TlsOptions& tls, const std::string& locations,
                const std::string& listen = "ssl",
                const std::string& address = httpclient::testing::ProcessLoopbackAddress(),
                std::uint16_t port = 0);
    ~NginxServer();
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    const std::string& address() const { return m_address; }
    std::uint16_t port() const { return m_port; }

private:
    void WriteConfiguration(const httpclient::testing::TlsOptions& tls, const std::string& locations,
                            const std::string& listen) const;
    void Start();
    void Stop();
    bool WaitUntilItAnswers();
    bool HasEnded();
    bool Answers() const;

    httpclient::testing::TemporaryDirectory m_directory;
    std::string m_address;
    std::uint16_t m_port;
    pid_t m_process = -1;
};

/// Skips the test when nginx is not installed.
#define SKIP_WITHOUT_NGINX()                                                                                 \
    if (!NginxServer::Installed())                                                                           \
    GTEST_SKIP() << "nginx is not installed (package nginx)"
