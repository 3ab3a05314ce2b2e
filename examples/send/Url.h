// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace sender {

/// Where a request goes, in the pieces that a client and a request want.
struct Target {
    std::string scheme; ///< "http" or "https"
    std::string host;   ///< a name or an address, IPv6 in brackets
    int port = 0;
    std::string path; ///< begins with "/"; holds the URL's query, if it has one

    bool Tls() const { return scheme == "https"; }
    bool HasQuery() const { return path.find('?') != std::string::npos; }
};

/// Takes a URL apart.
/// @throw UsageError for what is no URL and for what the library cannot send.
Target ParseUrl(const std::string& text);

} // namespace sender
