// SPDX-License-Identifier: Apache-2.0
#include "net/TlsErrors.h"

#include <cstdio>
#include <new>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace httpclient::net {

namespace {

unsigned long Packed(int value) {
    return static_cast<unsigned int>(
        value); // without the sign: the code of a system error has the highest bit set
}

class OpenSslErrors : public std::error_category {
public:
    const char* name() const noexcept override { return "tls"; }
    std::string message(int value) const override {
        OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS,
                         nullptr); // an error may be looked at before TLS was used
        const char* reason = ERR_reason_error_string(Packed(value));
        if (reason != nullptr) {
            return reason;
        }
        char text[32];
        static_cast<void>(std::snprintf(text, sizeof text, "OpenSSL error %08lX", Packed(value)));
        return text;
    }
};

class VerificationErrors : public std::error_category {
public:
    const char* name() const noexcept override { return "certificate"; }
    std::string message(int value) const override { return X509_verify_cert_error_string(value); }
};

} // namespace

// Never destroyed, so that threads that outlive main() may still use them.
const std::error_category& TlsCategory() noexcept {
    alignas(OpenSslErrors) static char memory[sizeof(OpenSslErrors)];
    static const std::error_category& category = *new (memory) OpenSslErrors;
    return category;
}

const std::error_category& CertificateCategory() noexcept {
    alignas(VerificationErrors) static char memory[sizeof(VerificationErrors)];
    static const std::error_category& category = *new (memory) VerificationErrors;
    return category;
}

std::error_code TlsError(unsigned long packed) noexcept {
    return {static_cast<int>(packed), TlsCategory()};
}

std::error_code TlsError(int library, int reason) noexcept {
    return TlsError(ERR_PACK(library, 0, reason));
}

std::error_code TakeTlsError() noexcept {
    const unsigned long first = ERR_get_error();
    bool noMemory = ERR_GET_REASON(first) == ERR_R_MALLOC_FAILURE;
    while (const unsigned long next = ERR_get_error()) {
        noMemory = noMemory || ERR_GET_REASON(next) == ERR_R_MALLOC_FAILURE;
    }
    if (noMemory) {
        return std::make_error_code(std::errc::not_enough_memory);
    }
    return first != 0 ? TlsError(first) : TlsError(ERR_LIB_SSL, ERR_R_INTERNAL_ERROR);
}

ErrorQueueGuard::ErrorQueueGuard() noexcept {
    if (ERR_peek_error() == 0) {
        return;
    }
    try {
        Save();
    } catch (const std::bad_alloc&) {
        ERR_clear_error(); // the queue is lost rather than the call
    }
}

ErrorQueueGuard::~ErrorQueueGuard() {
    if (ERR_peek_error() != 0) {
        ERR_clear_error();
    }
    for (const Entry& entry : m_entries) {
        ERR_new();
        ERR_set_debug(entry.file.c_str(), entry.line, entry.function.c_str());
        const int library = ERR_GET_LIB(entry.code);
        const int reason = ERR_GET_REASON(entry.code);
        if (entry.data.empty()) {
            ERR_set_error(library, reason, nullptr);
        } else {
            ERR_set_error(library, reason, "%s", entry.data.c_str());
        }
    }
}

void ErrorQueueGuard::Save() {
    const char* file = nullptr;
    const char* function = nullptr;
    const char* data = nullptr;
    int line = 0;
    int flags = 0;
    while (const unsigned long code = ERR_get_error_all(&file, &line, &function, &data, &flags)) {
        m_entries.push_back({code, file, line, function, (flags & ERR_TXT_STRING) != 0 ? data : ""});
    }
}

} // namespace httpclient::net
