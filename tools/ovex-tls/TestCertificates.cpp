// SPDX-License-Identifier: Apache-2.0
#include "TestCertificates.h"

#include <arpa/inet.h>

#include <openssl/ec.h>

#include "Failure.h"

namespace test_certificates {
namespace {

constexpr long DAY = 24L * 60 * 60;
constexpr long CLOCK_TOLERANCE = 60L * 60; // valid from an hour ago: hosts' clocks differ
constexpr int SERIAL_BITS = 127;
constexpr const char* HOST_CHARACTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-.*_";

void Require(bool success) {
    if (!success) {
        throw Failure("cannot make a certificate");
    }
}

bool IsAddress(const std::string& host) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
}

std::string AlternativeName(const std::string& host) {
    if (IsAddress(host)) {
        return "IP:" + host;
    }
    if (host.empty() || host.find_first_not_of(HOST_CHARACTERS) != std::string::npos) {
        throw Failure("not a host name or an IP address: \"" + host + "\"");
    }
    return "DNS:" + host;
}

std::string AlternativeNames(const std::vector<std::string>& hosts) {
    std::string names;
    for (const std::string& host : hosts) {
        names += (names.empty() ? "" : ",") + AlternativeName(host);
    }
    return names;
}

void SetSerial(X509* certificate) {
    const ossl::BigNumber serial(BN_new());
    Require(serial && BN_rand(serial.get(), SERIAL_BITS, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
            BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(certificate)) != nullptr);
}

void SetCommonName(X509* certificate, const std::string& name) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(name.data());
    Require(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8, bytes,
                                       static_cast<int>(name.size()), -1, 0) == 1);
}

void AddExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const ossl::Extension extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
    Require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

/// All but issuer, extensions and signature.
Identity Start(const std::string& commonName, int days) {
    Identity identity{ossl::Key(EVP_EC_gen("P-256")), ossl::Certificate(X509_new())};
    X509* certificate = identity.certificate.get();
    Require(identity.key && certificate != nullptr && X509_set_version(certificate, X509_VERSION_3) == 1 &&
            X509_gmtime_adj(X509_getm_notBefore(certificate), -CLOCK_TOLERANCE) != nullptr &&
            X509_gmtime_adj(X509_getm_notAfter(certificate), days * DAY) != nullptr &&
            X509_set_pubkey(certificate, identity.key.get()) == 1);
    SetSerial(certificate);
    SetCommonName(certificate, commonName);
    return identity;
}

/// Names the issuer and adds the extensions that lead to it.
void SetIssuer(X509* certificate, X509* issuer) {
    Require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1);
    AddExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    AddExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
}

void Sign(X509* certificate, EVP_PKEY* key) {
    Require(X509_sign(certificate, key, EVP_sha256()) > 0);
}

} // namespace

Identity MakeCa(const std::string& commonName, int days) {
    Identity ca = Start(commonName, days);
    X509* certificate = ca.certificate.get();
    SetIssuer(certificate, certificate);
    AddExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    Sign(certificate, ca.key.get());
    return ca;
}

Identity Issue(const Identity& ca, const std::string& commonName, const std::vector<std::string>& hosts,
               int days) {
    Identity identity = Start(commonName, days);
    X509* certificate = identity.certificate.get();
    X509* issuer = ca.certificate.get();
    SetIssuer(certificate, issuer);
    AddExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature");
    AddExtension(certificate, issuer, NID_ext_key_usage, "serverAuth,clientAuth");
    if (!hosts.empty()) {
        AddExtension(certificate, issuer, NID_subject_alt_name, AlternativeNames(hosts));
    }
    Sign(certificate, ca.key.get());
    return identity;
}

} // namespace test_certificates
