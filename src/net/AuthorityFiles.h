// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where trusted authorities are found that nobody named one by one.
#pragma once

#include <string>
#include <system_error>
#include <vector>

namespace httpclient::net {

/// Where the system's authorities are, at this moment: what SSL_CERT_FILE and SSL_CERT_DIR say, or else where OpenSSL
/// expects them.
struct SystemAuthorities {
    SystemAuthorities();

    std::string file;
    std::vector<std::string> directories;
};

/// @return the files of a directory that have the hash of a subject as their name, as OpenSSL would look them up one by
///         one amid handshakes; in order.
/// @param[out] error why the directory cannot be read.
/// @throw std::bad_alloc
std::vector<std::string> HashedFiles(const std::string& directory, std::error_code& error);

} // namespace httpclient::net
