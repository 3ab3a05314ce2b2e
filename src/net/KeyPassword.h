// SPDX-License-Identifier: Apache-2.0
/// @file
/// The password of a private key, for as long as the key is being read.
#pragma once

#include <string>

#include "net/TlsSettings.h"
#include "net/TlsTexts.h"

namespace httpclient::net {

/// Asks for a password once, gives it to OpenSSL, and wipes it.
class KeyPassword {
public:
    /// @throw WrongMaterial when the host's function throws.
    KeyPassword(const TlsSettings& settings, const TlsTexts& texts);
    ~KeyPassword();
    KeyPassword(const KeyPassword&) = delete;
    KeyPassword& operator=(const KeyPassword&) = delete;

    /// OpenSSL's callback; @p password is a KeyPassword, or null for none. Never asks at the terminal.
    static int Give(char* to, int room, int writing, void* password) noexcept;

private:
    std::string m_text;
};

} // namespace httpclient::net
