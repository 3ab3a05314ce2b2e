// SPDX-License-Identifier: Apache-2.0
/// @file
/// nginx: a server of another make than the kit's own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "tests/support/Ports.h"
#include "tests/support/Process.h"

namespace httpclient::testing {

/// nginx as configured by the caller. Stops when this object ends.
class NginxProcess {
public:
    /// @return whether nginx is installed.
    static bool Installed();

    /// Starts it and waits until it answers.
    /// @param directory where its configuration and all that it writes go; has to live longer.
    /// @param top what stands in its configuration outside of all blocks, besides the paths.
    /// @param events what stands in the events block.
    /// @param http what stands in the http block, besides the paths.
    /// @param endpoints where it will listen.
    /// @throw std::runtime_error when it does not come up.
    NginxProcess(const TemporaryDirectory& directory, const std::string& top, const std::string& events,
                 const std::string& http, const std::vector<Endpoint>& endpoints);
    ~NginxProcess();
    NginxProcess(const NginxProcess&) = delete;
    NginxProcess& operator=(const NginxProcess&) = delete;

private:
    ChildProcess m_process;
};

/// Writes the files of a server that does TLS so into its directory.
/// @return what stands in its server block for it.
std::string NginxTls(const TemporaryDirectory& directory, const TlsOptions& tls);

/// nginx with one server block, on a loopback address. Stops when this object ends.
class NginxServer {
public:
    /// @return whether nginx is installed.
    static bool Installed() { return NginxProcess::Installed(); }

    /// Speaks TLS.
    /// @param tls how it does TLS.
    /// @param locations what stands in its server block.
    /// @param listen words to follow its address, "ssl http2", say; without "ssl" it speaks no TLS.
    /// @param address where it listens; by default where no server of another test process does.
    /// @param port the port; 0: a free one.
    /// @throw std::runtime_error when it does not come up.
    NginxServer(const TlsOptions& tls, const std::string& locations, const std::string& listen = "ssl",
                const std::string& address = ProcessLoopbackAddress(), std::uint16_t port = 0);
    /// Speaks no TLS.
    explicit NginxServer(const std::string& locations, const std::string& address = ProcessLoopbackAddress(),
                         std::uint16_t port = 0);

    const std::string& address() const { return m_endpoint.address; }
    std::uint16_t port() const { return m_endpoint.port; }
    /// @return where its files are: what "root" may name.
    const TemporaryDirectory& directory() const { return m_directory; }

private:
    std::string ServerBlock(const std::string& listen, const std::string& settings) const;

    TemporaryDirectory m_directory;
    Endpoint m_endpoint;
    NginxProcess m_process;
};

/// Skips the test when nginx is not installed.
#define SKIP_WITHOUT_NGINX()                                                                                 \
    if (!httpclient::testing::NginxServer::Installed())                                                      \
    GTEST_SKIP() << "nginx is not installed (package nginx)"

} // namespace httpclient::testing
