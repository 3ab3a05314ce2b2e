// SPDX-License-Identifier: Apache-2.0
/// @file
/// What every server of the trials serves, and with which certificates.
#pragma once

#include <string>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>

namespace interop {

/// What the files of the site hold. Besides, a site has /method (answers the method, as body and as X-Method), /echo
/// (answers the body of a POST) and /empty (204). /chunked.txt comes in chunks, /text.txt compressed for those who
/// ask, and after /closing.txt the server closes the connection.
struct Content {
    std::string small;   ///< small.txt and closing.txt
    std::string longer;  ///< long.bin, 1 MiB
    std::string text;    ///< text.txt
    std::string chunked; ///< chunked.txt
};
const Content& TheContent();

/// A directory with the files of the site and those of the server's TLS, for as long as it lives.
class Site {
public:
    Site();

    const httpclient::testing::TemporaryDirectory& directory() const { return m_directory; }
    std::string path() const { return m_directory.path(); }
    /// @return the authority that issued the certificates of server and client.
    const std::string& authority() const { return m_ca.certificatePem(); }
    const httpclient::testing::Identity& client() const { return m_client; }

private:
    httpclient::testing::TemporaryDirectory m_directory;
    httpclient::testing::CertificateAuthority m_ca;
    httpclient::testing::Identity m_client;
};

} // namespace interop
