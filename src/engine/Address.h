// SPDX-License-Identifier: Apache-2.0
/// @file
/// The texts that say where a client goes: its origin, and the place to connect to instead.
#pragma once

#include <cstdint>
#include <string>

namespace httpclient::engine {

/// Scheme, host and port of a server (RFC 6454), in lower case.
struct Origin {
    bool tls = false;
    std::string host;       ///< a name or an address, without brackets
    std::uint16_t port = 0; ///< never 0
    bool address6 = false;  ///< the host is an IPv6 address

    /// @return host and port as the Host field has them: the scheme's own port left out.
    std::string Authority() const;
    /// @return the origin as statistics and logs name it: "https://host:port", with the port.
    std::string Text() const;
};

/// Reads "https://host:port" and the like. @throw std::invalid_argument
Origin ParseOrigin(const std::string& text);

/// @return whether a text is host, or host and port, as the field Host has them (RFC 9110, 7.2).
bool IsAuthority(const std::string& text);

/// Where to connect.
struct Place {
    std::string host;       ///< a name or an address, without brackets; empty: path is meant
    std::uint16_t port = 0; ///< never 0 where there is a host
    std::string path;       ///< of a Unix socket
};

/// Reads what ClientOptions::connectTo() was given. @param text empty: the origin itself. @throw std::invalid_argument
Place ParsePlace(const std::string& text, const Origin& origin);

/// Looks at what TlsOptions::serverName() was given. @param name empty: the origin's host. @throw std::invalid_argument
void CheckServerName(const std::string& name);

} // namespace httpclient::engine
