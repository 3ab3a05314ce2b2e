// SPDX-License-Identifier: Apache-2.0
#include "net/TlsBuilder.h"

#include <array>
#include <cerrno>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "net/Address.h"
#include "net/KeyPassword.h"
#include "net/Socket.h"
#include "net/TlsContext.h"
#include "net/TlsErrors.h"
#include "net/TlsLayer.h"
#include "support/ExitGate.h"

namespace httpclient::net {

namespace {

constexpr std::array<unsigned char, 9> PROTOCOLS = {8, 'h', 't', 't', 'p', '/', '1', '.', '1'};
constexpr std::size_t MAX_NAME = 255;      // what SNI carries
constexpr std::size_t READ_BUFFER = 65536; // four records with one system call

const std::string& ITSELF = *new std::string("TLS"); // the part to blame where no file is

/// @throw WrongMaterial with OpenSSL's reason; std::bad_alloc when it is want of memory.
void Require(bool success, const std::string& part) {
    if (success) {
        return;
    }
    const std::error_code error = TakeTlsError();
    if (error == std::errc::not_enough_memory) {
        throw std::bad_alloc();
    }
    throw WrongMaterial(part, error);
}

BioPtr ReadingBio(const PemText& pem) {
    if (pem.text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw WrongMaterial(pem.label, SystemError(EFBIG)); // GCOVR_EXCL_LINE: a text of more than 2 GiB
    }
    BioPtr bio(BIO_new_mem_buf(pem.text.data(), static_cast<int>(pem.text.size())));
    Require(bio != nullptr, pem.label);
    return bio;
}

/// The next certificate of a text; null after the last.
/// @throw WrongMaterial when it does not parse, and when there is not even a first.
CertificatePtr NextCertificate(BIO* bio, const PemText& pem, bool first) {
    // With a callback of ours: OpenSSL's would ask at the terminal for the password of an encrypted block.
    CertificatePtr certificate(PEM_read_bio_X509_AUX(bio, nullptr, &KeyPassword::Give, nullptr));
    const unsigned long last = ERR_peek_last_error();
    const bool atEnd = ERR_GET_LIB(last) == ERR_LIB_PEM && ERR_GET_REASON(last) == PEM_R_NO_START_LINE;
    if (certificate == nullptr && atEnd && !first) {
        ERR_clear_error();
        return nullptr;
    }
    Require(certificate != nullptr, pem.label);
    return certificate;
}

void SetProtocol(SSL_CTX* context) {
    // The system's configuration may ask for more, not for less.
    if (SSL_CTX_get_min_proto_version(context) < TLS1_2_VERSION) {
        Require(SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1, ITSELF);
    }
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    SSL_CTX_clear_options(context, SSL_OP_IGNORE_UNEXPECTED_EOF | SSL_OP_ALLOW_UNSAFE_LEGACY_RENEGOTIATION);
    Require(SSL_CTX_set_alpn_protos(context, PROTOCOLS.data(), PROTOCOLS.size()) == 0,
            ITSELF); // 0 is success
}

void SetBuffers(SSL_CTX* context) {
    SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                  SSL_MODE_RELEASE_BUFFERS | SSL_MODE_AUTO_RETRY);
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_default_read_buffer_len(context, READ_BUFFER);
}

void AddAuthorities(X509_STORE* store, const PemText& pem) {
    const BioPtr bio = ReadingBio(pem);
    bool first = true;
    while (const CertificatePtr authority = NextCertificate(bio.get(), pem, first)) {
        Require(X509_STORE_add_cert(store, authority.get()) == 1, pem.label);
        first = false;
    }
}

/// Nobody named them: one that is wrong does not spoil the others.
void AddFoundAuthorities(X509_STORE* store, const PemText& pem) {
    try {
        AddAuthorities(store, pem);
    } catch (const WrongMaterial&) {
        return;
    }
}

/// OpenSSL is given no place to look in by itself: it would read files amid a handshake, on an event loop.
void LoadAuthorities(SSL_CTX* context, const TlsTexts& texts) {
    X509_STORE* const store = SSL_CTX_get_cert_store(context);
    for (const PemText& found : texts.foundAuthorities) {
        AddFoundAuthorities(store, found);
    }
    if (texts.authorities.label.empty()) {
        return;
    }
    AddAuthorities(store, texts.authorities);
    // As on the first road: who names an intermediate authority trusts it.
    Require(X509_STORE_set_flags(store, X509_V_FLAG_PARTIAL_CHAIN) == 1, ITSELF);
}

void SetVerification(SSL_CTX* context, const TlsSettings& settings) {
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    Require(SSL_CTX_set_purpose(context, X509_PURPOSE_SSL_SERVER) == 1, ITSELF);
    const std::string name = ExpectedName(settings);
    if (name.size() > MAX_NAME) {
        throw WrongMaterial("server name", SystemError(ENAMETOOLONG));
    }
    if (!settings.verifyHost) {
        return;
    }
    if (name.empty()) {
        throw WrongMaterial("server name", SystemError(EINVAL)); // OpenSSL would take every name then
    }
    X509_VERIFY_PARAM* const param = SSL_CTX_get0_param(context);
    if (IsAddress(name)) {
        Require(X509_VERIFY_PARAM_set1_ip_asc(param, name.c_str()) == 1, name);
        return;
    }
    X509_VERIFY_PARAM_set_hostflags(param, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT |
                                               X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    Require(X509_VERIFY_PARAM_set1_host(param, name.data(), name.size()) == 1, "server name");
}

void LoadCertificate(SSL_CTX* context, const PemText& pem) {
    const BioPtr bio = ReadingBio(pem);
    const CertificatePtr own = NextCertificate(bio.get(), pem, true);
    Require(SSL_CTX_use_certificate(context, own.get()) == 1, pem.label);
    while (CertificatePtr link = NextCertificate(bio.get(), pem, false)) {
        Require(SSL_CTX_add0_chain_cert(context, link.get()) == 1, pem.label);
        static_cast<void>(link.release());
    }
}

/// Wipes what functions that have returned left on the stack. OpenSSL leaves the password there.
[[gnu::noinline]] void WipeStackBelow() noexcept {
    char frames[16UL * 1024];
    explicit_bzero(frames, sizeof frames);
}

void LoadKey(SSL_CTX* context, const TlsSettings& settings, const TlsTexts& texts) {
    const PemText& pem = texts.key.label.empty() ? texts.certificate : texts.key;
    KeyPassword password(settings, texts);
    const BioPtr bio = ReadingBio(pem);
    const KeyPtr key(PEM_read_bio_PrivateKey(bio.get(), nullptr, &KeyPassword::Give, &password));
    WipeStackBelow();
    Require(key != nullptr, pem.label);
    Require(SSL_CTX_use_PrivateKey(context, key.get()) == 1 && SSL_CTX_check_private_key(context) == 1,
            pem.label);
}

} // namespace

ContextPtr BuildContext(const TlsSettings& settings, const TlsTexts& texts) {
    const ErrorQueueGuard guard;
    ContextPtr context(SSL_CTX_new(TLS_client_method()));
    Require(context != nullptr, ITSELF);
    ExitGate::Arm(); // OpenSSL is initialised by now
    SetProtocol(context.get());
    SetBuffers(context.get());
    TlsLayer::KeepSessions(context.get());
    SetVerification(context.get(), settings);
    LoadAuthorities(context.get(), texts);
    if (!texts.certificate.label.empty()) {
        LoadCertificate(context.get(), texts.certificate);
        LoadKey(context.get(), settings, texts);
    } else if (!texts.key.label.empty()) {
        throw WrongMaterial(texts.key.label, SystemError(EINVAL), "a key without a certificate");
    }
    return context;
}

} // namespace httpclient::net
