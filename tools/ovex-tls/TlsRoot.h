// SPDX-License-Identifier: Apache-2.0
/// @file
/// The names below a TLS root, and what the password in its manifest is encrypted for.
#pragma once

#include <vorncipher/VornCipher.h>

namespace tls_root {

constexpr const char* DIRECTORY = "internal";
constexpr const char* CA_FILE = "trust.cer";
constexpr const char* CERTIFICATE_FILE = "server.cer";
constexpr const char* KEY_FILE = "server_key.pem";
constexpr const char* MANIFEST_FILE = "manifest.json";

constexpr VornCipherKey PASSWORD_KEY = VORN_CIPHER_KEY_TLS;
constexpr unsigned int PASSWORD_VALUE = 19;

} // namespace tls_root
