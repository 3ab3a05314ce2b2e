// SPDX-License-Identifier: Apache-2.0
/// @file
/// Certificates that say anything, sound or not, and chains of them.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/OpenSsl.h"

namespace kit = httpclient::testing;

/// What a key is.
enum class KeyKind { P256, P384, P521, Rsa1024, Rsa2048, Rsa4096, Ed25519, Ed448 };

/// What a certificate says. By default that of a server, good from 2000 to 2099.
struct Saying {
    std::string subject = "server";
    std::string names;   ///< alternative ones, as in "DNS:a.test,IP:127.0.0.1"
    std::string nulName; ///< one more, of any bytes
    std::string constraints = "critical,CA:FALSE";
    std::string usage = "critical,digitalSignature";
    std::string purpose = "serverAuth"; ///< extended key usage; empty: none said
    std::string nameConstraints;        ///< of an authority
    std::string first = "20000101000000Z";
    std::string last = "20991231000000Z";
    KeyKind key = KeyKind::P256;
    const char* digest = "SHA256";

    /// @return what an authority says.
    static Saying Authority(std::string subject, std::string constraints = "critical,CA:TRUE");
    /// @return what a server of these alternative names says.
    static Saying Server(std::string names);
};

/// A certificate and its key, and how they came to be.
class Certified {
public:
    /// Signs it itself.
    explicit Certified(const Saying& saying) : Certified(saying, nullptr) {}
    /// Has it signed by another.
    Certified(const Saying& saying, const Certified& issuer) : Certified(saying, &issuer) {}

    X509* certificate() const { return m_certificate.get(); }
    EVP_PKEY* key() const { return m_key.get(); }
    std::string pem() const;    ///< of the certificate
    std::string keyPem() const; ///< not encrypted

private:
    Certified(const Saying& saying, const Certified* issuer);

    std::shared_ptr<EVP_PKEY> m_key;
    std::shared_ptr<X509> m_certificate;
};
