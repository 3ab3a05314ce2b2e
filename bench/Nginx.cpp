// SPDX-License-Identifier: Apache-2.0
#include "Nginx.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// Binds a socket to a free port. @return the port; 0 when there is none.
std::uint16_t BindFree(int probe) {
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    const bool bound = bind(probe, generic, length) == 0 && getsockname(probe, generic, &length) == 0;
    return bound ? ntohs(address.sin_port) : std::uint16_t{0};
}

/// Different ones: each is held until all have been found.
void FindFreePorts(std::initializer_list<std::uint16_t*> ports) {
    std::vector<int> probes;
    bool found = true;
    for (std::uint16_t* port : ports) {
        probes.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        *port = BindFree(probes.back());
        found &= *port != 0;
    }
    for (const int probe : probes) {
        close(probe);
    }
    if (!found) {
        throw std::runtime_error("no free loopback port");
    }
}

bool Connects(std::uint16_t port) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback(port);
    const bool connected = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return connected;
}

std::string MakeDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "httpclient-bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    return path;
}

} // namespace

std::string Nginx::Address(int number) {
    return "127.0.0." + std::to_string(1 + number);
}

Nginx::Nginx(const ServerTls& tls) : m_directory(MakeDirectory()) {
    FindFreePorts({&m_port, &m_closingPort, &m_tlsPort, &m_closingTlsPort, &m_resumingTlsPort});
    std::ofstream(m_directory + "/server.pem") << tls.certificate;
    std::ofstream(m_directory + "/server.key") << tls.key;
    std::ofstream(m_directory + "/ca.pem") << tls.clientCa;
    WriteFiles();
    Start();
}

void Nginx::WriteServer(std::ostream& conf, std::uint16_t port, const std::string& settings) const {
    const bool tls = port != m_port && port != m_closingPort;
    conf << "  server {\n";
    for (int i = 0; i < (port == m_port ? ADDRESSES : 1); ++i) {
        conf << "    listen " << Address(i) << ":" << port << (tls ? " ssl" : "") << ";\n";
    }
    if (tls) {
        conf << "    ssl_certificate " << m_directory << "/server.pem; ssl_certificate_key " << m_directory
             << "/server.key; ssl_client_certificate " << m_directory << "/ca.pem; ssl_verify_client on;\n";
    }
    conf << "    " << settings << "\n    root " << m_directory << ";\n"
         << "    location = /sink { proxy_pass http://127.0.0.1:" << m_port
         << "/128; proxy_method GET; proxy_set_body ''; }\n  }\n";
}

void Nginx::WriteFiles() const {
    std::ofstream(m_directory + "/128") << std::string(128, 'x');
    std::ofstream(m_directory + "/1m") << std::string(1 << 20, 'x');
    const std::string dir = m_directory;
    std::ofstream conf(dir + "/nginx.conf");
    conf << "daemon off; worker_processes 1; pid " << dir << "/pid; error_log " << dir << "/error.log;\n";
    if (geteuid() == 0) {
        conf << "user root;\n"; // the files are in a directory that only we may enter
    }
    conf << "events { worker_connections 8192; }\nworker_rlimit_nofile 10000;\n"
         << "http {\n  access_log off; keepalive_requests 100000000;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        conf << "  " << kind << "_temp_path " << dir << "/" << kind << ";\n";
    }
    conf << "  client_body_buffer_size 64k;\n";
    const std::string keeping = "keepalive_timeout 1h;";
    const std::string closing = "keepalive_timeout 0;";
    WriteServer(conf, m_port, keeping);
    WriteServer(conf, m_closingPort, closing);
    WriteServer(conf, m_tlsPort, keeping);
    WriteServer(conf, m_closingTlsPort, closing + " ssl_session_cache off; ssl_session_tickets off;");
    WriteServer(conf, m_resumingTlsPort, closing + " ssl_session_tickets on;");
    conf << "}\n";
}

void Nginx::Start() {
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDERR_FILENO);
        const std::string conf = m_directory + "/nginx.conf";
        execlp("nginx", "nginx", "-c", conf.c_str(), "-p", m_directory.c_str(), nullptr);
        _exit(127);
    }
    for (int i = 0; i < 500 && IsRunning(); ++i) {
        if (Answers()) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    Stop();
    throw std::runtime_error("nginx does not come up (is it installed?)");
}

bool Nginx::IsRunning() {
    if (waitpid(m_process, nullptr, WNOHANG) != 0) {
        m_process = -1;
    }
    return m_process > 0;
}

bool Nginx::Answers() const {
    const auto ports = {m_port, m_closingPort, m_tlsPort, m_closingTlsPort,
                        m_resumingTlsPort}; // it opens one after the other
    return std::all_of(ports.begin(), ports.end(), &Connects);
}

void Nginx::Stop() {
    if (m_process > 0) {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

Nginx::~Nginx() {
    Stop();
}
