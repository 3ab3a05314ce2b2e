// SPDX-License-Identifier: Apache-2.0
#include "TlsServer.h"

#include <cstdlib>

namespace {

ServerTls TlsOf(const httpclient::testing::CertificateAuthority& ca) {
    const httpclient::testing::Identity server = ca.IssueServer();
    return {server.certificatePem, server.keyPem, ca.certificatePem()};
}

} // namespace

TlsServer::TlsServer() : m_root(m_ca.certificatePem(), m_ca.IssueClient(), "", ""), m_nginx(TlsOf(m_ca)) {
    setenv("SSL_ROOT", m_root.path().c_str(), 1);
}
