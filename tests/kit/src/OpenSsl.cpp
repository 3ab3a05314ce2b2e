// SPDX-License-Identifier: Apache-2.0
#include "OpenSsl.h"

#include <stdexcept>

#include <openssl/err.h>
#include <openssl/pem.h>

namespace httpclient::testing {

std::string TakeOpenSslError() {
    const char* reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "";
}

void Check(bool success, const char* what) {
    if (!success) {
        throw std::runtime_error(std::string(what) + ": " + TakeOpenSslError());
    }
}

BioPtr ReadingBio(const std::string& text) {
    BioPtr bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    Check(bio != nullptr, "BIO_new_mem_buf");
    return bio;
}

CertificatePtr ReadCertificate(const std::string& pem) {
    const BioPtr bio = ReadingBio(pem);
    CertificatePtr certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    Check(certificate != nullptr, "certificate");
    return certificate;
}

KeyPtr ReadKey(const std::string& pem) {
    const BioPtr bio = ReadingBio(pem);
    // An empty password, so that OpenSSL never asks at the terminal.
    const auto noPassword = [](char*, int, int, void*) { return 0; };
    KeyPtr key(PEM_read_bio_PrivateKey(bio.get(), nullptr, noPassword, nullptr));
    Check(key != nullptr, "private key");
    return key;
}

std::string NameText(const X509_NAME* name) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    Check(bio != nullptr && X509_NAME_print_ex(bio.get(), name, 0, XN_FLAG_RFC2253) >= 0, "name");
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return std::string(text, static_cast<std::size_t>(size));
}

} // namespace httpclient::testing
