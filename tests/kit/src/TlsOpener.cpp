// SPDX-License-Identifier: Apache-2.0
#include "TlsOpener.h"

#include <utility>

#include "TlsStream.h"

namespace httpclient::testing {

namespace {

int VerifyMode(ClientCertificate wanted) {
    switch (wanted) {
    case ClientCertificate::Ignore:
        return SSL_VERIFY_NONE;
    case ClientCertificate::Request:
        return SSL_VERIFY_PEER;
    case ClientCertificate::Demand:
        break;
    }
    return SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT;
}

void PresentIdentity(SSL_CTX* context, const Identity& identity) {
    Check(SSL_CTX_use_certificate(context, ReadCertificate(identity.certificatePem).get()) == 1,
          "certificate");
    Check(SSL_CTX_use_PrivateKey(context, ReadKey(identity.keyPem).get()) == 1, "private key");
    Check(SSL_CTX_check_private_key(context) == 1, "certificate and key");
}

void TrustClientsOf(SSL_CTX* context, const std::string& caPem) {
    const CertificatePtr ca = ReadCertificate(caPem);
    Check(X509_STORE_add_cert(SSL_CTX_get_cert_store(context), ca.get()) == 1, "client CA");
    Check(SSL_CTX_add_client_CA(context, ca.get()) == 1, "name of the client CA");
}

void RefuseResumption(SSL_CTX* context) {
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    Check(SSL_CTX_set_num_tickets(context, 0) == 1, "no tickets");
}

ContextPtr MakeContext(const TlsOptions& options) {
    ContextPtr context(SSL_CTX_new(TLS_server_method()));
    Check(context != nullptr, "SSL_CTX_new");
    const int newest = options.newest == NewestTls::Tls12 ? TLS1_2_VERSION : TLS1_3_VERSION;
    Check(SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1 &&
              SSL_CTX_set_max_proto_version(context.get(), newest) == 1,
          "TLS versions");
    PresentIdentity(context.get(), options.identity);
    if (!options.clientCaPem.empty()) {
        TrustClientsOf(context.get(), options.clientCaPem);
    }
    SSL_CTX_set_verify(context.get(), VerifyMode(options.clientCertificate), nullptr);
    if (!options.resumption) {
        RefuseResumption(context.get());
    }
    // Sessions with a client certificate can be resumed only under a name.
    constexpr unsigned char NAME[] = "httpclient-testing";
    Check(SSL_CTX_set_session_id_context(context.get(), NAME, sizeof NAME - 1) == 1, "session name");
    return context;
}

} // namespace

TlsOpener::TlsOpener(const TlsOptions& options) : m_context(MakeContext(options)) {}

std::unique_ptr<Stream> TlsOpener::Open(Descriptor socket, const StopSignal& stop) {
    auto stream = std::make_unique<TlsStream>(std::move(socket), stop, m_context.get());
    const std::string failure = stream->Handshake();
    if (!failure.empty()) {
        m_handshakes.Update([&failure](Handshakes& all) { all.failures.push_back(failure); });
        return nullptr;
    }
    m_handshakes.Update([&stream](Handshakes& all) { all.subjects.push_back(stream->PeerSubject()); });
    return stream;
}

} // namespace httpclient::testing
