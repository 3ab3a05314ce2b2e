// SPDX-License-Identifier: Apache-2.0
/// @file
/// What TLS material is, and what is checked with it.
#pragma once

#include <functional>
#include <string>

namespace httpclient::net {

/// What the material is, and what is checked with it.
struct TlsSettings {
    enum class From { Platform, Files, Memory } from = From::Platform;
    std::string authorities; ///< path or PEM text; empty: the system's
    std::string certificate;
    std::string key;                          ///< empty: it stands in the certificate's file or text
    std::function<std::string()> keyPassword; ///< null: none. Platform: the manifest's, by the cipher
    bool verifyHost =
        true; ///< false: any certificate of the authorities; sessions are not shared with those that verify
    std::string
        name; ///< expected in the certificate (subject alternative names only), and SNI; an address is no SNI
};

} // namespace httpclient::net
