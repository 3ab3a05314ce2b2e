// SPDX-License-Identifier: Apache-2.0
#include "demo/PeerName.h"

#include <memory>

#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace demo {

std::string PeerName(const ssl_st* ssl) {
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        ssl == nullptr ? nullptr : SSL_get1_peer_certificate(ssl), X509_free);
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new(BIO_s_mem()), BIO_free);
    if (!certificate || !text) {
        return "";
    }
    X509_NAME_print_ex(text.get(), X509_get_subject_name(certificate.get()), 0, XN_FLAG_RFC2253);
    char* name = nullptr;
    const long length = BIO_get_mem_data(text.get(), &name);
    return std::string(name, static_cast<size_t>(length));
}

} // namespace demo
