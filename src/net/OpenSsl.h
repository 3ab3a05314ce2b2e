// SPDX-License-Identifier: Apache-2.0
/// @file
/// Owners of OpenSSL's objects, and of a piece of work with it.
#pragma once

#include <memory>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "support/ExitGate.h"

namespace httpclient::net {

/// Gives an object back with the function that OpenSSL has for it.
template <auto Free> struct FreeWith {
    template <class T> void operator()(T* object) const noexcept { Free(object); }
};

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free_all>>;
using BioMethodPtr = std::unique_ptr<BIO_METHOD, FreeWith<BIO_meth_free>>;
using CertificatePtr = std::unique_ptr<X509, FreeWith<X509_free>>;
using ContextPtr = std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>>;
using DigestPtr = std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using SslPtr = std::unique_ptr<SSL, FreeWith<SSL_free>>;

/// A piece of work with OpenSSL that may be the process's first. While it lives, exit() does not clean OpenSSL up;
/// once exit() has begun, its thread stays here. Not to be nested.
class OpenSslUse {
public:
    OpenSslUse() : m_pass(Armed()) {}
    OpenSslUse(const OpenSslUse&) = delete;
    OpenSslUse& operator=(const OpenSslUse&) = delete;
    ~OpenSslUse() = default;

private:
    /// exit() closes the gate before it cleans OpenSSL up when the gate was armed after OpenSSL had been initialised.
    static ExitGate::Pass Armed() {
        OPENSSL_init_ssl(0, nullptr);
        ExitGate::Arm();
        return {};
    }

    const ExitGate::Pass m_pass;
};

} // namespace httpclient::net
