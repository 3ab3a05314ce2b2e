// SPDX-License-Identifier: Apache-2.0
#include "tls/Certified.h"

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

using kit::Check;

namespace {

EVP_PKEY* MakeKey(KeyKind kind) {
    switch (kind) {
    case KeyKind::P256:
        return EVP_EC_gen("P-256");
    case KeyKind::P384:
        return EVP_EC_gen("P-384");
    case KeyKind::P521:
        return EVP_EC_gen("P-521");
    case KeyKind::Rsa1024:
        return EVP_RSA_gen(1024);
    case KeyKind::Rsa2048:
        return EVP_RSA_gen(2048);
    case KeyKind::Rsa4096:
        return EVP_RSA_gen(4096);
    case KeyKind::Ed25519:
        return EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
    case KeyKind::Ed448:
        return EVP_PKEY_Q_keygen(nullptr, nullptr, "ED448");
    }
    return nullptr;
}

void Extend(X509* certificate, X509* issuer, int nid, const std::string& value) {
    if (value.empty()) {
        return;
    }
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const kit::ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
    Check(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, value.c_str());
}

/// An alternative name of any bytes, which no text can say.
void AddRawName(X509* certificate, const std::string& bytes) {
    if (bytes.empty()) {
        return;
    }
    const std::unique_ptr<GENERAL_NAMES, kit::FreeWith<GENERAL_NAMES_free>> names(GENERAL_NAMES_new());
    GENERAL_NAME* const name = GENERAL_NAME_new();
    ASN1_IA5STRING* const text = ASN1_IA5STRING_new();
    ASN1_STRING_set(text, bytes.data(), static_cast<int>(bytes.size()));
    GENERAL_NAME_set0_value(name, GEN_DNS, text);
    sk_GENERAL_NAME_push(names.get(), name);
    Check(X509_add1_ext_i2d(certificate, NID_subject_alt_name, names.get(), 0, 0) == 1, "a raw name");
}

void Name(X509* certificate, const std::string& subject) {
    const auto* text = reinterpret_cast<const unsigned char*>(subject.data());
    Check(X509_NAME_add_entry_by_NID(X509_get_subject_name(certificate), NID_commonName, MBSTRING_UTF8, text,
                                     static_cast<int>(subject.size()), -1, 0) == 1,
          "subject");
    std::uint64_t serial = 0;
    Check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1, "RAND_bytes");
    Check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), (serial >> 1U) | 1U) == 1, "serial");
}

void Sign(X509* certificate, EVP_PKEY* key, const char* digest) {
    const int kind = EVP_PKEY_get_base_id(key);
    const bool itself = kind == EVP_PKEY_ED25519 || kind == EVP_PKEY_ED448; // brings a digest of its own
    Check(X509_sign(certificate, key, itself ? nullptr : EVP_get_digestbyname(digest)) > 0, "signature");
}

template <class Write> std::string Pem(const Write& write) {
    const kit::BioPtr bio(BIO_new(BIO_s_mem()));
    Check(bio != nullptr && write(bio.get()) == 1, "PEM");
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

} // namespace

Saying Saying::Authority(std::string subject, std::string constraints) {
    Saying saying;
    saying.subject = std::move(subject);
    saying.constraints = std::move(constraints);
    saying.usage = "critical,keyCertSign,cRLSign";
    saying.purpose.clear();
    return saying;
}

Saying Saying::Server(std::string names) {
    Saying saying;
    saying.names = std::move(names);
    return saying;
}

Certified::Certified(const Saying& saying, const Certified* issuer)
    : m_key(MakeKey(saying.key), EVP_PKEY_free), m_certificate(X509_new(), X509_free) {
    constexpr long VERSION_3 = 2;
    X509* const own = certificate();
    Check(m_key != nullptr && own != nullptr && X509_set_version(own, VERSION_3) == 1, "a certificate");
    Name(own, saying.subject);
    Check(ASN1_TIME_set_string_X509(X509_getm_notBefore(own), saying.first.c_str()) == 1 &&
              ASN1_TIME_set_string_X509(X509_getm_notAfter(own), saying.last.c_str()) == 1,
          "dates");
    Check(X509_set_pubkey(own, key()) == 1, "public key");
    X509* const by = issuer != nullptr ? issuer->certificate() : own;
    Check(X509_set_issuer_name(own, X509_get_subject_name(by)) == 1, "issuer");
    Extend(own, by, NID_basic_constraints, saying.constraints);
    Extend(own, by, NID_key_usage, saying.usage);
    Extend(own, by, NID_ext_key_usage, saying.purpose);
    Extend(own, by, NID_subject_alt_name, saying.names);
    Extend(own, by, NID_name_constraints, saying.nameConstraints);
    AddRawName(own, saying.nulName);
    Extend(own, by, NID_subject_key_identifier, "hash");
    Extend(own, by, NID_authority_key_identifier, "keyid:always");
    Sign(own, issuer != nullptr ? issuer->key() : key(), saying.digest);
}

std::string Certified::pem() const {
    return Pem([this](BIO* bio) { return PEM_write_bio_X509(bio, certificate()); });
}

std::string Certified::keyPem() const {
    return Pem([this](BIO* bio) {
        return PEM_write_bio_PKCS8PrivateKey(bio, key(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}
