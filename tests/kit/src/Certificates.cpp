// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <utility>

#include <openssl/pem.h>
#include <openssl/rand.h>

#include <httpclient/testing/Certificates.h>

#include "OpenSsl.h"

namespace httpclient::testing {

namespace {

// Versions are counted from 0: this is version 3, the one with extensions.
constexpr long VERSION_3 = 2;

KeyPtr MakeKey() {
    KeyPtr key(EVP_EC_gen("P-256"));
    Check(key != nullptr, "EVP_EC_gen");
    return key;
}

std::string TextOf(const BioPtr& bio) {
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return std::string(text, static_cast<std::size_t>(size));
}

std::string PemOf(X509* certificate) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    Check(bio != nullptr && PEM_write_bio_X509(bio.get(), certificate) == 1, "PEM of a certificate");
    return TextOf(bio);
}

// Without a password, the key is written in plain.
std::string PemOf(EVP_PKEY* key, const std::string* password) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    const EVP_CIPHER* cipher = password != nullptr ? EVP_aes_256_cbc() : nullptr;
    const char* text = password != nullptr ? password->data() : nullptr;
    const int size = password != nullptr ? static_cast<int>(password->size()) : 0;
    Check(bio != nullptr &&
              PEM_write_bio_PKCS8PrivateKey(bio.get(), key, cipher, text, size, nullptr, nullptr) == 1,
          "PEM of a key");
    return TextOf(bio);
}

std::pair<const char*, const char*> Dates(Validity validity) {
    switch (validity) {
    case Validity::Expired:
        return {"20000101000000Z", "20000102000000Z"};
    case Validity::NotYetValid:
        return {"20991230000000Z", "20991231000000Z"};
    case Validity::Current:
        break;
    }
    return {"20000101000000Z", "20991231000000Z"};
}

void SetSerial(X509* certificate) {
    std::uint64_t serial = 0;
    Check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1, "RAND_bytes");
    Check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), (serial >> 1U) | 1U) == 1, "serial");
}

void SetSubject(X509* certificate, const std::string& commonName) {
    X509_NAME* name = X509_get_subject_name(certificate);
    const auto* text = reinterpret_cast<const unsigned char*>(commonName.data());
    Check(X509_NAME_add_entry_by_NID(name, NID_commonName, MBSTRING_UTF8, text,
                                     static_cast<int>(commonName.size()), -1, 0) == 1,
          "subject");
}

CertificatePtr Unsigned(const std::string& commonName, Validity validity, EVP_PKEY* key) {
    CertificatePtr certificate(X509_new());
    Check(certificate != nullptr && X509_set_version(certificate.get(), VERSION_3) == 1, "X509_new");
    SetSerial(certificate.get());
    SetSubject(certificate.get(), commonName);
    const auto [first, last] = Dates(validity);
    Check(ASN1_TIME_set_string_X509(X509_getm_notBefore(certificate.get()), first) == 1 &&
              ASN1_TIME_set_string_X509(X509_getm_notAfter(certificate.get()), last) == 1,
          "dates");
    Check(X509_set_pubkey(certificate.get(), key) == 1, "public key");
    return certificate;
}

void Extend(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
    Check(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

void Sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
    Check(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1, "issuer");
    Extend(certificate, issuer, NID_subject_key_identifier, "hash");
    Extend(certificate, issuer, NID_authority_key_identifier, "keyid:always");
    Check(X509_sign(certificate, issuerKey, EVP_sha256()) > 0, "signature");
}

std::string AlternativeNames(const CertificateProfile& profile) {
    std::string list;
    const auto add = [&list](const char* kind, const std::string& value) {
        list += (list.empty() ? "" : ",") + std::string(kind) + value;
    };
    for (const std::string& name : profile.names) {
        add("DNS:", name);
    }
    for (const std::string& address : profile.addresses) {
        add("IP:", address);
    }
    return list;
}

} // namespace

struct CertificateAuthority::Pair {
    KeyPtr key = MakeKey();
    CertificatePtr certificate;
};

CertificateAuthority::CertificateAuthority(const std::string& commonName) : m_pair(std::make_unique<Pair>()) {
    m_pair->certificate = Unsigned(commonName, Validity::Current, m_pair->key.get());
    X509* certificate = m_pair->certificate.get();
    Extend(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    Extend(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    Sign(certificate, certificate, m_pair->key.get());
    m_pem = PemOf(certificate);
}

CertificateAuthority::~CertificateAuthority() = default;

const std::string& CertificateAuthority::certificatePem() const {
    return m_pem;
}

Identity CertificateAuthority::Issue(const CertificateProfile& profile) const {
    const KeyPtr key = MakeKey();
    const CertificatePtr certificate = Unsigned(profile.commonName, profile.validity, key.get());
    X509* issuer = m_pair->certificate.get();
    const bool server = profile.use == CertificateUse::Server;
    Extend(certificate.get(), issuer, NID_basic_constraints, "critical,CA:FALSE");
    Extend(certificate.get(), issuer, NID_key_usage, "critical,digitalSignature");
    Extend(certificate.get(), issuer, NID_ext_key_usage, server ? "serverAuth" : "clientAuth");
    const std::string names = AlternativeNames(profile);
    if (!names.empty()) {
        Extend(certificate.get(), issuer, NID_subject_alt_name, names);
    }
    Sign(certificate.get(), issuer, m_pair->key.get());
    return Identity{PemOf(certificate.get()), PemOf(key.get(), nullptr)};
}

Identity CertificateAuthority::IssueServer() const {
    CertificateProfile profile;
    profile.commonName = "localhost";
    profile.names = {"localhost"};
    profile.addresses = {"127.0.0.1", "::1"};
    return Issue(profile);
}

Identity CertificateAuthority::IssueClient(const std::string& commonName) const {
    CertificateProfile profile;
    profile.commonName = commonName;
    profile.use = CertificateUse::Client;
    return Issue(profile);
}

std::string EncryptKey(const std::string& keyPem, const std::string& password) {
    if (password.empty()) {
        throw std::runtime_error("a key cannot be encrypted with an empty password");
    }
    return PemOf(ReadKey(keyPem).get(), &password);
}

} // namespace httpclient::testing
