// SPDX-License-Identifier: Apache-2.0
/// @file
/// OpenSSL's errors as error codes, and its error queue.
#pragma once

#include <string>
#include <system_error>
#include <vector>

namespace httpclient::net {

/// Errors of OpenSSL: the value is the packed code of ERR_get_error(), the message OpenSSL's reason. Verification
/// errors have a category of their own with X509_verify_cert_error_string() as message.
const std::error_category& TlsCategory() noexcept;
const std::error_category& CertificateCategory() noexcept;

/// @return OpenSSL's code, as ERR_get_error() packs it, as an error.
std::error_code TlsError(unsigned long packed) noexcept;
/// @return the same of a library and a reason.
std::error_code TlsError(int library, int reason) noexcept;
/// Empties this thread's queue.
/// @return its first error, which is the cause of the others; of want of memory before any other. An internal error
///         when the queue is empty.
std::error_code TakeTlsError() noexcept;

/// Empties the thread's OpenSSL error queue while it lives, and leaves it as it found it.
///
/// A mark would not do: handshakes and post-handshake messages clear the whole queue, and errors from before would
/// be taken for errors of the connection.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() noexcept;
    ~ErrorQueueGuard();
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;

private:
    struct Entry {
        unsigned long code;
        std::string file;
        int line;
        std::string function;
        std::string data;
    };

    void Save();

    std::vector<Entry> m_entries;
};

} // namespace httpclient::net
