// SPDX-License-Identifier: Apache-2.0
/// @file
/// Makes a context of TLS material.
#pragma once

#include "net/OpenSsl.h"
#include "net/TlsSettings.h"
#include "net/TlsTexts.h"

namespace httpclient::net {

/// Makes an SSL_CTX that has all the settings of this library. Asks for the key's password.
/// @throw WrongMaterial, std::bad_alloc
ContextPtr BuildContext(const TlsSettings& settings, const TlsTexts& texts);

} // namespace httpclient::net
