// SPDX-License-Identifier: Apache-2.0
/// @file
/// A web server of mutual TLS, and what its clients need.
#pragma once

#include <string>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsRoot.h>

#include "Nginx.h"

/// nginx, plain and with mutual TLS. The library's own TLS files are those of this server from now on.
class TlsServer {
public:
    /// Sets the environment variable that names the TLS root.
    TlsServer();

    const Nginx& Server() const { return m_nginx; }
    /// @return who has signed the server's certificate and the client's.
    const httpclient::testing::CertificateAuthority& Authority() const { return m_ca; }
    /// @return files of a client.
    std::string CaFile() const { return m_root.File("trust.cer"); }
    std::string CertificateFile() const { return m_root.File("server.cer"); }
    std::string KeyFile() const { return m_root.File("server_key.pem"); }

private:
    httpclient::testing::CertificateAuthority m_ca;
    httpclient::testing::TlsRoot m_root;
    Nginx m_nginx;
};
