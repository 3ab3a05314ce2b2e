// SPDX-License-Identifier: Apache-2.0
#include "Servers.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/Ports.h"

namespace interop {

namespace kit = httpclient::testing;

namespace {

constexpr std::chrono::seconds TO_COME_UP{60}; // a busy machine, and a server that is compiled first
constexpr std::chrono::seconds TO_END{5};
constexpr const char* ADDRESS = "127.0.0.1";

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// One process of gunicorn for each way to speak: its TLS is that of all its ports.
std::vector<std::string> Gunicorn(const std::string& port, const std::vector<std::string>& tls) {
    std::vector<std::string> words = {
        "gunicorn",       "--chdir",          "{DIR}",     "--bind", "127.0.0.1:" + port,
        "--worker-class", "gthread",          "--threads", "8",      "--keep-alive",
        "{IDLE}",         "--worker-tmp-dir", "{DIR}",     "--env",  "SITE={DIR}/site",
        "--log-level",    "warning"};
    words.insert(words.end(), tls.begin(), tls.end());
    words.emplace_back("wsgi:application");
    return words;
}

std::vector<ServerKind> MakeKinds() {
    const std::vector<std::string> withTls = {"--certfile", "{DIR}/server.pem", "--keyfile",
                                              "{DIR}/server.key"};
    std::vector<std::string> withMutual = withTls;
    withMutual.insert(withMutual.end(), {"--ca-certs", "{DIR}/ca.pem", "--cert-reqs", "2"});
    return {
        {"nginx",
         "nginx",
         {"nginx.conf", "nginx-locations.conf", "nginx-top.conf"},
         {{"nginx", "-p", "{DIR}", "-e", "{DIR}/nginx.log", "-c", "{DIR}/nginx-top.conf"}}},
        {"Apache httpd",
         "apache2-bin",
         {"apache.conf", "apache.lua"},
         {{"apache2", "-X", "-f", "{DIR}/apache.conf"}}},
        {"lighttpd",
         "lighttpd",
         {"lighttpd.conf", "site.cgi"},
         {{"lighttpd", "-D", "-f", "{DIR}/lighttpd.conf"}}},
        {"HAProxy before nginx",
         "haproxy",
         {"haproxy.cfg"},
         {{"haproxy", "-db", "-f", "{DIR}/haproxy.cfg"}},
         "nginx"},
        {"Node's http and https",
         "nodejs",
         {"server.js"},
         {{"node", "{DIR}/server.js", "{DIR}", "{IDLE}", "{PLAIN}", "{TLS}", "{MUTUAL}"}}},
        // It takes no Connection field from an application.
        {"Python's gunicorn",
         "gunicorn",
         {"wsgi.py"},
         {Gunicorn("{PLAIN}", {}), Gunicorn("{TLS}", withTls), Gunicorn("{MUTUAL}", withMutual)},
         "",
         false},
        {"Caddy",
         "caddy",
         {"Caddyfile"},
         {{"caddy", "run", "--adapter", "caddyfile", "--config", "{DIR}/Caddyfile"}}},
        // It ends the connection of a client without a certificate without an alert.
        {"Java's HttpServer",
         "openjdk-17-jdk-headless",
         {"Server.java"},
         {{"java", "-Dsun.net.httpserver.idleInterval={IDLE}", "-Dsun.net.httpserver.clockTick=1000",
           "{DIR}/Server.java", "{DIR}", "{PLAIN}", "{TLS}", "{MUTUAL}"}},
         "",
         true,
         false},
    };
}

} // namespace

const std::vector<ServerKind>& ServerKinds() {
    static const std::vector<ServerKind> kinds = MakeKinds();
    return kinds;
}

const ServerKind& KindOf(const std::string& name) {
    const auto& kinds = ServerKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const ServerKind& kind) { return kind.name == name; });
    if (found == kinds.end()) {
        throw std::out_of_range("no server of the name " + name);
    }
    return *found;
}

std::string InstalledVersion(const std::string& package) {
    kit::Command query;
    query.words = {"dpkg-query", "-W", "-f=${Version}", package};
    return kit::RunCommand(query).out;
}

Server::Server(const ServerKind& kind, const Site& site, std::chrono::seconds idle, std::uint16_t backend)
    : m_kind(kind), m_site(site), m_idle(idle), m_backend(backend), m_ports(kit::FreePorts(ADDRESS, 3)) {
    for (const std::string& file : kind.files) {
        site.directory().Write(file, Filled(ContentOf(INTEROP_SERVERS "/" + file)));
    }
    for (const std::vector<std::string>& words : kind.start) {
        Start(words);
    }
    AwaitPorts();
}

Server::~Server() {
    for (const kit::ChildProcess& process : m_processes) {
        if (process.id() > 0) {
            kill(process.id(), SIGTERM);
        }
    }
    const auto giveUp = std::chrono::steady_clock::now() + TO_END;
    for (kit::ChildProcess& process : m_processes) {
        while (process.Runs() && std::chrono::steady_clock::now() < giveUp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        process.End(SIGKILL);
    }
}

std::string Server::Filled(std::string text) const {
    const std::map<std::string, std::string> values = {{"{DIR}", m_site.path()},
                                                       {"{PLAIN}", std::to_string(plain())},
                                                       {"{TLS}", std::to_string(tls())},
                                                       {"{MUTUAL}", std::to_string(mutual())},
                                                       {"{BACKEND}", std::to_string(m_backend)},
                                                       {"{IDLE}", std::to_string(m_idle.count())}};
    for (const auto& [name, value] : values) {
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size())) {
            text.replace(at, name.size(), value);
        }
    }
    return text;
}

void Server::Start(const std::vector<std::string>& words) {
    kit::Command command;
    for (const std::string& word : words) {
        command.words.push_back(Filled(word));
    }
    kit::Variables variables = {{"PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"},
                                {"HOME", m_site.path()},
                                {"TMPDIR", m_site.path()},
                                {"PYTHONDONTWRITEBYTECODE", "1"}};
    command.environment = std::move(variables);
    command.directory = m_site.path();
    command.errorFile = m_site.path() + "/said-" + std::to_string(m_processes.size());
    m_processes.push_back(kit::StartCommand(command));
}

void Server::AwaitPorts() {
    const auto giveUp = std::chrono::steady_clock::now() + TO_COME_UP;
    const auto listens = [](std::uint16_t port) { return kit::Answers({ADDRESS, port}); };
    while (!std::all_of(m_ports.begin(), m_ports.end(), listens)) {
        const bool run =
            std::all_of(m_processes.begin(), m_processes.end(), [](auto& process) { return process.Runs(); });
        if (!run || std::chrono::steady_clock::now() > giveUp) {
            throw std::runtime_error(m_kind.name + " does not come up: " + Said());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

std::string Server::Said() const {
    std::string said;
    for (std::size_t i = 0; i < m_processes.size(); ++i) {
        said += ContentOf(m_site.path() + "/said-" + std::to_string(i));
    }
    return said;
}

} // namespace interop
