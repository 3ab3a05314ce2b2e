// SPDX-License-Identifier: Apache-2.0
/// @file
/// Owners of OpenSSL's objects, and its errors as exceptions.
#pragma once

#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace httpclient::testing {

template <auto Free> struct FreeWith {
    template <class T> void operator()(T* object) const { Free(object); }
};

using BioPtr = std::unique_ptr<BIO, FreeWith<BIO_free_all>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, FreeWith<X509_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, FreeWith<X509_EXTENSION_free>>;
using ContextPtr = std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, FreeWith<SSL_free>>;

/// @return the reason of OpenSSL's last error on this thread; "" when there is none. Empties its queue.
std::string TakeOpenSslError();
/// Does nothing when @p success.
/// @throw std::runtime_error of @p what and OpenSSL's reason otherwise.
void Check(bool success, const char* what);

/// @return a BIO that reads this text, which must outlive it.
BioPtr ReadingBio(const std::string& text);
/// @return the certificate of a PEM text.
CertificatePtr ReadCertificate(const std::string& pem);
/// @return the key of a PEM text that is not encrypted.
KeyPtr ReadKey(const std::string& pem);
/// @return a name as one line, as in "CN=client".
std::string NameText(const X509_NAME* name);

} // namespace httpclient::testing
