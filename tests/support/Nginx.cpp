// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Nginx.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <httpclient/testing/Patience.h>

namespace httpclient::testing {

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

/// Everything that it writes goes into one directory.
std::string Configuration(const std::string& directory, const std::string& top, const std::string& events,
                          const std::string& http) {
    std::string text = "daemon off; pid " + directory + "/pid; error_log " + directory + "/error.log;\n" +
                       top + "\nevents { " + events + " }\nhttp {\n  access_log off;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        text += "  " + std::string(kind) + "_temp_path " + directory + "/" + kind + ";\n";
    }
    return text + http + "\n}\n";
}

/// It writes its number down once it listens everywhere: until then, another server may be the one that answers.
bool Listens(const std::filesystem::path& directory, const std::vector<Endpoint>& endpoints) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(directory / "pid", missing);
    return !missing && size > 0 && std::all_of(endpoints.begin(), endpoints.end(), Answers);
}

bool ComesUp(ChildProcess& process, const std::filesystem::path& directory,
             const std::vector<Endpoint>& endpoints) {
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (!Listens(directory, endpoints)) {
        if (!process.Runs() || std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace

std::string NginxTls(const TemporaryDirectory& directory, const TlsOptions& tls) {
    directory.Write("server.pem", tls.identity.certificatePem);
    directory.Write("server.key", tls.identity.keyPem);
    directory.Write("ca.pem", tls.clientCaPem);
    std::string text = "    ssl_certificate server.pem; ssl_certificate_key server.key;\n"
                       "    ssl_protocols TLSv1.2 TLSv1.3;\n";
    if (tls.clientCertificate == ClientCertificate::Demand) {
        text += "    ssl_client_certificate ca.pem; ssl_verify_client on;\n";
    }
    return text;
}

bool NginxProcess::Installed() {
    return !Program().empty();
}

NginxProcess::NginxProcess(const TemporaryDirectory& directory, const std::string& top,
                           const std::string& events, const std::string& http,
                           const std::vector<Endpoint>& endpoints) {
    const std::string path = directory.path();
    const std::string file = directory.Write("nginx.conf", Configuration(path, top, events, http));
    Command command;
    command.words = {Program(), "-p", path, "-c", file};
    command.errorFile = "/dev/null";
    m_process = StartCommand(command);
    if (!ComesUp(m_process, directory.path(), endpoints)) {
        m_process.End(SIGTERM);
        throw std::runtime_error("nginx does not come up (is it installed?)");
    }
}

NginxProcess::~NginxProcess() {
    m_process.End(SIGTERM);
}

NginxServer::NginxServer(const TlsOptions& tls, const std::string& locations, const std::string& listen,
                         const std::string& address, std::uint16_t port)
    : m_endpoint{address, port != 0 ? port : FreePorts(address, 1).front()},
      m_process(m_directory, "master_process off;", "",
                ServerBlock(listen, NginxTls(m_directory, tls) + locations), {m_endpoint}) {}

NginxServer::NginxServer(const std::string& locations, const std::string& address, std::uint16_t port)
    : m_endpoint{address, port != 0 ? port : FreePorts(address, 1).front()},
      m_process(m_directory, "master_process off;", "", ServerBlock("", locations), {m_endpoint}) {}

std::string NginxServer::ServerBlock(const std::string& listen, const std::string& settings) const {
    return "  server {\n    listen " + m_endpoint.address + ":" + std::to_string(m_endpoint.port) + " " +
           listen + ";\n" + settings + "\n  }";
}

} // namespace httpclient::testing
