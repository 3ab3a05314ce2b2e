// SPDX-License-Identifier: Apache-2.0
/// @file
/// TLS material, read once per change, and what sessions are resumed from.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>

#include <openssl/ssl.h>

#include "net/Net.h"

namespace httpclient::net {

/// Errors of OpenSSL: the value is the packed code of ERR_get_error(), the message OpenSSL's reason. Verification
/// errors have a category of their own with X509_verify_cert_error_string() as message.
const std::error_category& TlsCategory() noexcept;
const std::error_category& CertificateCategory() noexcept;

/// What the material is, and what is checked with it.
struct TlsSettings {
    enum class From { Platform, Files, Memory } from = From::Platform;
    std::string authorities; ///< path or PEM text; empty: the system's
    std::string certificate;
    std::string key;
    std::function<std::string()> keyPassword; ///< null: none. Platform: the manifest's, by the cipher
    bool verifyHost = true;
    std::string
        name; ///< expected in the certificate (subject alternative names only), and SNI; an address is no SNI
    bool anyName =
        false; ///< "*" of the STRICT door: any certificate of our authorities; sessions never shared with others
};

/// A read set of material: an SSL_CTX, immutable. TLS 1.2 or later, ALPN http/1.1, no renegotiation, no compression, no early data.
class TlsContext {
public:
    SSL_CTX* get() const noexcept;
    const TlsSettings& settings() const noexcept;
    std::uint64_t generation() const noexcept; ///< unique in the process
};

/// Sessions of one origin under one key, last in first out, few. Take() removes (tickets are used once).
class SessionCache {
public:
    using SessionPtr = std::unique_ptr<SSL_SESSION, void (*)(SSL_SESSION*)>;
    void Put(SessionPtr session, std::uint64_t generation);
    SessionPtr Take(std::uint64_t generation); ///< null: none of that generation; others are dropped
    void Clear();
};

/// Holds one set of material up to date.
///
/// Files are looked at once a second at most. A change that does not parse or does not match leaves the old
/// material in use and is logged once per change.
///
/// @par Thread Safety
/// Any thread. Reading files happens on the caller's thread of Current() the first time, later on that of Refresh().
class TlsMaterial {
public:
    explicit TlsMaterial(TlsSettings settings);
    /// Memory: reads the material now. @throw std::invalid_argument when it does not parse or match.
    void CheckTexts();
    /// @return the material in use; reads it when there is none yet.
    /// @param[out] error why there is none.
    std::shared_ptr<const TlsContext> Current(Time now, std::error_code& error, std::string& message);
    /// @return the material in use without reading anything; null when none was read.
    std::shared_ptr<const TlsContext> InUse() const noexcept;
    /// Looks whether the files changed, and reads them anew. For the keeper thread. @return whether there is new material.
    bool Refresh(Time now);
};

} // namespace httpclient::net
