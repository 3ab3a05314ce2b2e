// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a directory of authorities calls a certificate.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include <openssl/pem.h>
#include <openssl/x509.h>

/// @return the name of a certificate's file where it is looked up by the hash of its subject.
inline std::string HashedName(const std::string& pem) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> bio(
        BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr), &X509_free);
    char name[16];
    static_cast<void>(std::snprintf(name, sizeof name, "%08lx.0", X509_subject_name_hash(certificate.get())));
    return name;
}
