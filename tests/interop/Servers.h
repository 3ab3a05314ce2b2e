// SPDX-License-Identifier: Apache-2.0
/// @file
/// The servers of other makes: how each is started, and how it ends.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "Site.h"
#include "tests/support/Process.h"

namespace interop {

/// How a server is started. In its words and files, {DIR} stands for the directory of the site, {PLAIN}, {TLS} and
/// {MUTUAL} for its ports, {BACKEND} for that of the server behind it, {IDLE} for the seconds it keeps a connection.
struct ServerKind {
    std::string name;                            ///< for people
    std::string package;                         ///< Debian's
    std::vector<std::string> files;              ///< what it reads, below servers/
    std::vector<std::vector<std::string>> start; ///< its programs; all of them stay in the foreground
    std::string behind = {};                     ///< the name of the server behind it; "" for none
    bool closesByItself = true;                  ///< It can be told to close after an answer.
    bool alerts = true;                          ///< It says so when it refuses a certificate.
};

/// @return all of them.
const std::vector<ServerKind>& ServerKinds();
/// @throw std::out_of_range when there is none of that name.
const ServerKind& KindOf(const std::string& name);
/// @return the version of an installed package; "" when it is not installed.
std::string InstalledVersion(const std::string& package);

/// A server that runs: ports on 127.0.0.1, the site's certificates. It ends with this object, and, when nobody is
/// left to end it, with the thread that made it.
class Server {
public:
    /// Starts it and waits until it listens.
    /// @param idle how long it keeps an idle connection.
    /// @throw std::runtime_error when it does not come up, with what it said.
    Server(const ServerKind& kind, const Site& site, std::chrono::seconds idle, std::uint16_t backend = 0);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t plain() const { return m_ports[0]; }
    std::uint16_t tls() const { return m_ports[1]; }
    std::uint16_t mutual() const { return m_ports[2]; }

private:
    std::string Filled(std::string text) const;
    void Start(const std::vector<std::string>& words);
    void AwaitPorts();
    std::string Said() const;

    const ServerKind& m_kind;
    const Site& m_site;
    const std::chrono::seconds m_idle;
    const std::uint16_t m_backend;
    std::vector<std::uint16_t> m_ports;
    std::vector<httpclient::testing::ChildProcess> m_processes;
};

} // namespace interop
