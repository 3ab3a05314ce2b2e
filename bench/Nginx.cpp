// SPDX-License-Identifier: Apache-2.0
#include "Nginx.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

std::uint16_t FreePort() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    const bool bound = bind(probe, generic, length) == 0 && getsockname(probe, generic, &length) == 0;
    close(probe);
    if (!bound)
        throw std::runtime_error("no free loopback port");
    return ntohs(address.sin_port);
}

std::string MakeDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "httpclient-bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
    return path;
}

} // namespace

Nginx::Nginx() : m_directory(MakeDirectory()), m_port(FreePort()), m_closingPort(FreePort()) {
    WriteFiles();
    Start();
}

Nginx::Nginx(const ServerTls& tls)
    : m_directory(MakeDirectory()), m_port(FreePort()), m_closingPort(FreePort()), m_tlsPort(FreePort()),
      m_closingTlsPort(FreePort()) {
    std::ofstream(m_directory + "/server.pem") << tls.certificate;
    std::ofstream(m_directory + "/server.key") << tls.key;
    std::ofstream(m_directory + "/ca.pem") << tls.clientCa;
    WriteFiles();
    Start();
}

std::string Nginx::Server(std::uint16_t port, const std::string& settings) const {
    return "  server {\n    listen 127.0.0.1:" + std::to_string(port) +
           (port == m_tlsPort || port == m_closingTlsPort ? " ssl" : "") + ";\n    " + settings +
           "\n    root " + m_directory +
           ";\n    location = /sink { proxy_pass http://127.0.0.1:" + std::to_string(m_port) +
           "/128; proxy_method GET; proxy_set_body ''; }\n  }\n";
}

void Nginx::WriteFiles() const {
    std::ofstream(m_directory + "/128") << std::string(128, 'x');
    std::ofstream(m_directory + "/1m") << std::string(1 << 20, 'x');
    const std::string dir = m_directory;
    std::ofstream conf(dir + "/nginx.conf");
    conf << "daemon off; worker_processes 1; pid " << dir << "/pid; error_log " << dir << "/error.log;\n";
    if (geteuid() == 0)
        conf << "user root;\n"; // the files are in a directory that only we may enter
    conf << "events { worker_connections 1024; }\nhttp {\n  access_log off; keepalive_requests 100000000;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        conf << "  " << kind << "_temp_path " << dir << "/" << kind << ";\n";
    const std::string closing = "keepalive_timeout 0; ssl_session_cache off; ssl_session_tickets off;";
    const std::string tls = "ssl_certificate " + dir + "/server.pem; ssl_certificate_key " + dir +
                            "/server.key; ssl_client_certificate " + dir + "/ca.pem; ssl_verify_client on;";
    conf << "  client_body_buffer_size 64k;\n"
         << Server(m_port, "") << Server(m_closingPort, "keepalive_timeout 0;");
    if (m_tlsPort != 0)
        conf << Server(m_tlsPort, tls) << Server(m_closingTlsPort, tls + " " + closing);
    conf << "}\n";
}

void Nginx::Start() {
    m_process = fork();
    if (m_process == 0) {
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDERR_FILENO);
        const std::string conf = m_directory + "/nginx.conf";
        execlp("nginx", "nginx", "-c", conf.c_str(), "-p", m_directory.c_str(), nullptr);
        _exit(127);
    }
    for (int i = 0; i < 500; ++i) {
        if (Answers())
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("nginx does not come up (is it installed?)");
}

bool Nginx::Answers() const {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback(m_port);
    const bool connected = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return connected;
}

Nginx::~Nginx() {
    if (m_process > 0) {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}
