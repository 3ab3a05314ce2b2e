// SPDX-License-Identifier: Apache-2.0
/// @file
/// Owners of OpenSSL's objects.
#pragma once

#include <memory>

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/ui.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

namespace ossl {

struct Free {
    void operator()(BIO* bio) const { BIO_free_all(bio); }
    void operator()(BIGNUM* number) const { BN_free(number); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(UI* ui) const { UI_free(ui); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
    void operator()(X509_STORE* store) const { X509_STORE_free(store); }
    void operator()(X509_STORE_CTX* context) const { X509_STORE_CTX_free(context); }
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); } // the certificates have owners
};

using Bio = std::unique_ptr<BIO, Free>;
using BigNumber = std::unique_ptr<BIGNUM, Free>;
using Key = std::unique_ptr<EVP_PKEY, Free>;
using Ui = std::unique_ptr<UI, Free>;
using Certificate = std::unique_ptr<X509, Free>;
using Extension = std::unique_ptr<X509_EXTENSION, Free>;
using Store = std::unique_ptr<X509_STORE, Free>;
using StoreContext = std::unique_ptr<X509_STORE_CTX, Free>;
using CertificateStack = std::unique_ptr<STACK_OF(X509), Free>;

} // namespace ossl
