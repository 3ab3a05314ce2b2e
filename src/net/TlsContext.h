// SPDX-License-Identifier: Apache-2.0
/// @file
/// TLS material as it has been read.
#pragma once

#include <cstdint>
#include <string>

#include <openssl/ssl.h>

#include "net/OpenSsl.h"
#include "net/SessionCache.h"
#include "net/TlsErrors.h"
#include "net/TlsMaterial.h"
#include "net/TlsSettings.h"

namespace httpclient::net {

/// A read set of material: an SSL_CTX, immutable. TLS 1.2 or later, ALPN http/1.1, no renegotiation, no compression,
/// no early data.
class TlsContext {
public:
    /// @param settings without the texts of From::Memory, which nobody needs any more.
    TlsContext(TlsSettings settings, ContextPtr context);

    SSL_CTX* get() const noexcept { return m_context.get(); }
    const TlsSettings& settings() const noexcept { return m_settings; }
    std::uint64_t generation() const noexcept { return m_generation; } ///< unique in the process, ascending
    /// @return the name for SNI; empty: none is sent.
    const std::string& serverName() const noexcept { return m_serverName; }

private:
    TlsSettings m_settings;
    ContextPtr m_context;
    std::uint64_t m_generation;
    std::string m_serverName;
};

/// @return the name that a certificate has to have, in the form that certificates know: without the dot of a fully
///         qualified name, without the scope of an address.
std::string ExpectedName(const TlsSettings& settings);

} // namespace httpclient::net
