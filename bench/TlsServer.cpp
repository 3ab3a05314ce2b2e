// SPDX-License-Identifier: Apache-2.0
#include "TlsServer.h"

#include <cstdlib>

namespace {

httpclient::testing::TlsOptions TlsOf(const httpclient::testing::CertificateAuthority& ca) {
    httpclient::testing::TlsOptions tls;
    tls.identity = ca.IssueServer();
    tls.clientCaPem = ca.certificatePem();
    return tls;
}

} // namespace

TlsServer::TlsServer() : m_root(m_ca.certificatePem(), m_ca.IssueClient(), "", ""), m_nginx(TlsOf(m_ca)) {
    setenv("SSL_ROOT", m_root.path().c_str(), 1);
}
