// SPDX-License-Identifier: Apache-2.0
#include "tls/TlsServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <openssl/err.h>

using kit::Check;

namespace {

constexpr unsigned char SESSION_NAME[] = "tls-table";

int Select(SSL* /*ssl*/, const unsigned char** out, unsigned char* size, const unsigned char* /*in*/,
           unsigned int /*inSize*/, void* manner) {
    const std::string& protocol = static_cast<const Manner*>(manner)->protocol;
    *out = reinterpret_cast<const unsigned char*>(protocol.data());
    *size = static_cast<unsigned char>(protocol.size());
    return protocol.empty() ? SSL_TLSEXT_ERR_NOACK : SSL_TLSEXT_ERR_OK;
}

void Present(SSL_CTX* context, const std::vector<Certified>& chain) {
    if (chain.empty()) {
        return;
    }
    Check(SSL_CTX_use_certificate(context, chain.front().certificate()) == 1, "certificate");
    Check(SSL_CTX_use_PrivateKey(context, chain.front().key()) == 1, "key");
    for (std::size_t i = 1; i < chain.size(); ++i) {
        Check(SSL_CTX_add1_chain_cert(context, chain[i].certificate()) == 1, "chain");
    }
}

} // namespace

std::string ReadHead(SSL* ssl) {
    std::string head;
    char byte = 0;
    while (head.find("\r\n\r\n") == std::string::npos) {
        if (SSL_read(ssl, &byte, 1) != 1) {
            return {};
        }
        head += byte;
    }
    return head;
}

bool Answer(SSL* ssl, const std::string& answer) {
    return SSL_write(ssl, answer.data(), static_cast<int>(answer.size())) == static_cast<int>(answer.size());
}

TlsServer::TlsServer(Manner manner)
    : m_manner(std::move(manner)), m_context(MakeContext()), m_server([this](Peer& peer) { Serve(peer); }) {}

kit::ContextPtr TlsServer::MakeContext() const {
    kit::ContextPtr made(SSL_CTX_new(TLS_server_method()));
    SSL_CTX* const context = made.get();
    Check(context != nullptr, "SSL_CTX_new");
    if (m_manner.weak) {
        SSL_CTX_set_security_level(context, 0);
        Check(SSL_CTX_set_cipher_list(context, "ALL:@SECLEVEL=0") == 1, "ciphers");
    }
    Check(SSL_CTX_set_min_proto_version(context, m_manner.oldest) == 1 &&
              SSL_CTX_set_max_proto_version(context, m_manner.newest) == 1,
          "versions");
    Present(context, m_manner.chain);
    if (!m_manner.clientCa.empty()) {
        const auto authority = kit::ReadCertificate(m_manner.clientCa);
        Check(X509_STORE_add_cert(SSL_CTX_get_cert_store(context), authority.get()) == 1, "client CA");
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    }
    if (!m_manner.sessions) {
        SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
        SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
        SSL_CTX_set_num_tickets(context, 0);
    }
    Check(SSL_CTX_set_session_id_context(context, SESSION_NAME, sizeof SESSION_NAME) == 1, "session name");
    SSL_CTX_set_alpn_select_cb(context, &Select, const_cast<Manner*>(&m_manner));
    if (m_manner.prepare) {
        m_manner.prepare(context);
    }
    ERR_clear_error();
    return made;
}

void TlsServer::Serve(Peer& peer) {
    if (m_manner.instead) {
        return m_manner.instead(peer.fd());
    }
    const int on = 1; // tickets and an answer are two writes
    setsockopt(peer.fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const kit::ContextPtr own = m_manner.ticketKeys ? nullptr : MakeContext();
    const kit::SslPtr ssl(SSL_new(own != nullptr ? own.get() : m_context.get()));
    if (ssl == nullptr || SSL_set_fd(ssl.get(), peer.fd()) != 1 || SSL_accept(ssl.get()) != 1) {
        ERR_clear_error();
        return;
    }
    m_resumed += SSL_session_reused(ssl.get()) == 1 ? 1U : 0U;
    ++m_handshakes;
    if (m_manner.talk) {
        m_manner.talk(ssl.get(), peer.fd());
    } else {
        while (!ReadHead(ssl.get()).empty() && Answer(ssl.get())) {
        }
        SSL_shutdown(ssl.get());
    }
    // However the connection ended, its session stays good.
    SSL_set_shutdown(ssl.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    ERR_clear_error();
}
