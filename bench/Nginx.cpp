// SPDX-License-Identifier: Apache-2.0
#include "Nginx.h"

#include <unistd.h>

using namespace httpclient::testing;

namespace {

constexpr const char* LOOPBACK = "127.0.0.1";

std::string TopSettings() {
    const std::string user =
        geteuid() == 0 ? "user root; " : ""; // the files are in a directory that only we may enter
    return user + "worker_processes 1; worker_rlimit_nofile 10000;";
}

std::vector<Endpoint> EndpointsAt(const std::vector<std::uint16_t>& ports) {
    std::vector<Endpoint> endpoints;
    for (const std::uint16_t port : ports) {
        endpoints.push_back({LOOPBACK, port});
    }
    return endpoints;
}

} // namespace

std::string Nginx::Address(int number) {
    return "127.0.0." + std::to_string(1 + number);
}

Nginx::Nginx(const TlsOptions& tls)
    : m_ports(FreePorts(LOOPBACK, 5)),
      m_process(m_directory, TopSettings(), "worker_connections 8192;",
                ServerBlocks(NginxTls(m_directory, tls)), EndpointsAt(m_ports)) {
    m_directory.Write("128", std::string(128, 'x'));
    m_directory.Write("1m", std::string(1 << 20, 'x'));
}

std::string Nginx::ServerBlock(std::uint16_t port, const std::string& settings) const {
    const bool tls = port != Port() && port != ClosingPort();
    std::string text = "  server {\n";
    for (int i = 0; i < (port == Port() ? ADDRESSES : 1); ++i) {
        text += "    listen " + Address(i) + ":" + std::to_string(port) + (tls ? " ssl" : "") + ";\n";
    }
    return text + "    " + settings + "\n    root " + m_directory.path().string() +
           ";\n    location = /sink { proxy_pass http://127.0.0.1:" + std::to_string(Port()) +
           "/128; proxy_method GET; proxy_set_body ''; }\n  }\n";
}

std::string Nginx::ServerBlocks(const std::string& tls) const {
    const std::string keeping = "keepalive_timeout 1h;";
    const std::string closing = "keepalive_timeout 0;";
    return "  keepalive_requests 100000000; client_body_buffer_size 64k;\n" + ServerBlock(Port(), keeping) +
           ServerBlock(ClosingPort(), closing) + ServerBlock(TlsPort(), tls + keeping) +
           ServerBlock(ClosingTlsPort(), tls + closing + " ssl_session_cache off; ssl_session_tickets off;") +
           ServerBlock(ResumingTlsPort(), tls + closing + " ssl_session_tickets on;");
}
