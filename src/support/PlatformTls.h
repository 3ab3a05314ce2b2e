// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the platform keeps the TLS files of a process, and how the password of its key is had.
#pragma once

#include <string>

#include "support/JsonFile.h"

namespace platform_tls {

/// @return the root directory of the TLS files, ending in "/"; "" when the environment names none.
std::string Root();

/// The files below the root.
std::string ManifestPath(const std::string& root);
std::string AuthoritiesDirectory(const std::string& root);
std::string AuthoritiesFile(const std::string& root);
std::string CertificateFile(const std::string& root);
std::string KeyFile(const std::string& root);

/// How a manifest is parsed: ReadJsonFile().
constexpr bool STRICT_MANIFEST = true;

/// @return the encrypted key password that stands in a manifest.
/// @throw std::exception when the manifest has another form.
std::string CipherText(Json::Value& manifest);

/// Reads the encrypted key password from a manifest's file.
/// @param[out] cipherText the password; unchanged unless the manifest was read.
/// @throw std::exception as ReadJsonFile() does, and when the manifest has another form.
JsonFileResult ReadCipherText(const std::string& manifest, std::string& cipherText);

/// Decrypts the key password. @return the cipher's status, 0 for success. On failure @p password may hold anything.
int DecryptPassword(const std::string& cipherText, std::string& password);

} // namespace platform_tls
