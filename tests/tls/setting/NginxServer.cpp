// SPDX-License-Identifier: Apache-2.0
#include "setting/NginxServer.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <httpclient/testing/Patience.h>

using namespace httpclient::testing;

namespace {

/// @return where nginx is; "" when it is not installed.
std::string Program() {
    for (const char* path : {"/usr/sbin/nginx", "/usr/local/sbin/nginx", "/usr/bin/nginx"}) {
        if (std::filesystem::exists(path)) {
            return path;
        }
    }
    return "";
}

sockaddr_in SocketAddress(const std::string& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    inet_pton(AF_INET, address.c_str(), &result.sin_addr);
    result.sin_port = htons(port);
    return result;
}

std::uint16_t FreePort(const std::string& address) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in name = SocketAddress(address, 0);
    socklen_t length = sizeof name;
    auto* generic = reinterpret_cast<sockaddr*>(&name);
    const bool bound = bind(probe, generic, length) == 0 && getsockname(probe, generic, &length) == 0;
    close(probe);
    if (!bound) {
        throw std::runtime_error("no free port at " + address);
    }
    return ntohs(name.sin_port);
}

} // namespace

bool NginxServer::Installed() {
    return !Program().empty();
}

NginxServer::NginxServer(const TlsOptions& tls, const std::string& locations, const std::string& listen,
                         const std::string& address, std::uint16_t port)
    : m_address(address), m_port(port != 0 ? port : FreePort(address)) {
    WriteConfiguration(tls, locations, listen);
    Start();
}

NginxServer::~NginxServer() {
    Stop();
}

void NginxServer::Stop() {
    if (m_process > 0) {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    m_process = -1;
}

void NginxServer::WriteConfiguration(const TlsOptions& tls, const std::string& locations,
                                     const std::string& listen) const {
    m_directory.Write("server.pem", tls.identity.certificatePem);
    m_directory.Write("server.key", tls.identity.keyPem);
    m_directory.Write("ca.pem", tls.clientCaPem);
    const std::string directory = m_directory.path().string() + "/";
    std::string text = "daemon off; master_process off; pid " + directory + "pid;\n";
    text += "error_log " + directory + "error.log;\nevents {}\nhttp {\n  access_log off;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        text += "  " + std::string(kind) + "_temp_path " + directory + kind + ";\n";
    }
    text += "  server {\n    listen " + m_address + ":" + std::to_string(m_port) + " " + listen + ";\n";
    text += "    ssl_certificate server.pem; ssl_certificate_key server.key;\n";
    text += "    ssl_protocols TLSv1.2 TLSv1.3;\n";
    if (tls.clientCertificate == ClientCertificate::Demand) {
        text += "    ssl_client_certificate ca.pem; ssl_verify_client on;\n";
    }
    text += locations + "\n  }\n}\n";
    m_directory.Write("nginx.conf", text);
}

void NginxServer::Start() {
    const std::string program = Program();
    const std::string directory = m_directory.path();
    const std::string configuration = directory + "/nginx.conf";
    const char* const arguments[] = {"nginx", "-p", directory.c_str(), "-c", configuration.c_str(), nullptr};
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // however the test ends
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDERR_FILENO);
        execv(program.c_str(), const_cast<char* const*>(arguments));
        _exit(127);
    }
    if (m_process < 0 || !WaitUntilItAnswers()) {
        Stop();
        throw std::runtime_error("nginx does not come up");
    }
}

bool NginxServer::WaitUntilItAnswers() {
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (!Answers()) {
        if (HasEnded() || std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return !HasEnded(); // or another server answers
}

bool NginxServer::HasEnded() {
    if (waitpid(m_process, nullptr, WNOHANG) == m_process) {
        m_process = -1;
    }
    return m_process < 0;
}

bool NginxServer::Answers() const {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in name = SocketAddress(m_address, m_port);
    const bool connected = connect(probe, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
    close(probe);
    return connected;
}
