// SPDX-License-Identifier: Apache-2.0
#include "setting/TlsPeer.h"

#include <array>
#include <cstdlib>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

#include <gtest/gtest.h>
#include <openssl/err.h>

#include "setting/SocketPair.h"
#include "src/OpenSsl.h"

using httpclient::testing::Check;

namespace {

constexpr unsigned char SESSION_NAME[] = "net-tests";

} // namespace

PeerContext::PeerContext(const PeerSettings& settings)
    : m_protocol(settings.protocol), m_context(SSL_CTX_new(TLS_server_method())) {
    SSL_CTX* const context = m_context.get();
    Check(context != nullptr, "SSL_CTX_new");
    Check(SSL_CTX_set_min_proto_version(context, settings.oldest) == 1 &&
              SSL_CTX_set_max_proto_version(context, settings.newest) == 1,
          "versions");
    if (settings.oldest < TLS1_2_VERSION) {
        SSL_CTX_set_security_level(context, 0);
    }
    const auto certificate = httpclient::testing::ReadCertificate(settings.identity.certificatePem);
    Check(SSL_CTX_use_certificate(context, certificate.get()) == 1, "certificate");
    Check(SSL_CTX_use_PrivateKey(context, httpclient::testing::ReadKey(settings.identity.keyPem).get()) == 1,
          "key");
    if (!settings.clientCa.empty()) {
        const auto authority = httpclient::testing::ReadCertificate(settings.clientCa);
        Check(X509_STORE_add_cert(SSL_CTX_get_cert_store(context), authority.get()) == 1, "client CA");
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    }
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
    if (!settings.tickets) {
        SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    }
    Check(SSL_CTX_set_session_id_context(context, SESSION_NAME, sizeof SESSION_NAME) == 1, "session name");
    SSL_CTX_set_alpn_select_cb(context, &PeerContext::Select, this);
    ERR_clear_error();
}

int PeerContext::Select(SSL* ssl, const unsigned char** out, unsigned char* outSize, const unsigned char* in,
                        unsigned int inSize, void* self) {
    const auto& context = *static_cast<const PeerContext*>(self);
    static_cast<std::string*>(SSL_get_app_data(ssl))->assign(reinterpret_cast<const char*>(in), inSize);
    if (context.m_protocol.empty()) {
        return SSL_TLSEXT_ERR_NOACK;
    }
    *out = reinterpret_cast<const unsigned char*>(context.m_protocol.data());
    *outSize = static_cast<unsigned char>(context.m_protocol.size());
    return SSL_TLSEXT_ERR_OK;
}

TlsPeer::TlsPeer(const PeerContext& context, httpclient::net::Descriptor socket)
    : m_socket(std::move(socket)), m_ssl(SSL_new(context.get())) {
    Check(m_ssl != nullptr && SSL_set_fd(m_ssl.get(), m_socket.get()) == 1, "SSL_new");
    SSL_set_app_data(m_ssl.get(), &m_offered);
}

TlsPeer::~TlsPeer() {
    // The server's session stays good however the connection ended.
    SSL_set_shutdown(m_ssl.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

void TlsPeer::Accept() {
    if (m_done || m_failed) {
        return;
    }
    const int result = SSL_accept(m_ssl.get());
    const int reason = SSL_get_error(m_ssl.get(), result);
    m_done = result == 1;
    m_failed = result != 1 && reason != SSL_ERROR_WANT_READ && reason != SSL_ERROR_WANT_WRITE;
    ERR_clear_error();
}

std::string TlsPeer::serverName() const {
    const char* name = SSL_get_servername(m_ssl.get(), TLSEXT_NAMETYPE_host_name);
    return name != nullptr ? name : "";
}

std::string TlsPeer::subject() const {
    const X509* certificate = SSL_get0_peer_certificate(m_ssl.get());
    return certificate != nullptr ? httpclient::testing::NameText(X509_get_subject_name(certificate)) : "";
}

void TlsPeer::Write(const std::string& text) {
    EXPECT_EQ(SSL_write(m_ssl.get(), text.data(), static_cast<int>(text.size())),
              static_cast<int>(text.size()));
    ERR_clear_error();
}

std::string TlsPeer::Read() {
    std::string all;
    std::array<char, 16384> block{};
    std::size_t count = 0;
    while (SSL_read_ex(m_ssl.get(), block.data(), block.size(), &count) == 1) {
        all.append(block.data(), count);
    }
    ERR_clear_error();
    return all;
}

std::string TlsPeer::ReadExactly(std::size_t count) {
    std::string all = Read();
    while (all.size() < count && WaitFor(fd(), POLLIN)) {
        all += Read();
    }
    return all;
}

void TlsPeer::Notify() {
    SSL_shutdown(m_ssl.get());
    ERR_clear_error();
}

void TlsPeer::Swallow() {
    std::array<char, 4096> block{};
    EXPECT_TRUE(WaitFor(fd(), POLLIN));
    EXPECT_GT(recv(fd(), block.data(), block.size(), 0), 0);
}

void TlsPeer::HardClose() {
    ::Reset(m_socket);
}
