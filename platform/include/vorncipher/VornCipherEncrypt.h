// SPDX-License-Identifier: Apache-2.0
/// @file
/// The encrypting side of the platform's key-management cipher.
#pragma once

#include <cstddef>
#include <string>

#include <vorncipher/VornCipher.h>
#include <vorncipher/VornStatus.h>

/// Makes the texts that VornCipher::Decrypt reads. For the operator's tools: a service only ever decrypts.
/// Safe from any number of threads. Each call reads the master key file that VORN_KEY_FILE names.
class __attribute__((visibility("default"))) VornCipherEncrypt {
public:
    /// The longest plain text, in bytes.
    static constexpr std::size_t MAX_PLAIN_TEXT = std::size_t{1} << 20;

    /// Encrypts a text. Two calls never give the same cipher text.
    /// @param plainText any bytes, at most MAX_PLAIN_TEXT.
    /// @param[out] cipherText printable ASCII without blanks; untouched on failure.
    /// @param key,value what the text is for; only the same pair decrypts it.
    /// @return VORN_OK or another VornStatus.
    static int Encrypt(const std::string& plainText, std::string& cipherText, VornCipherKey key,
                       unsigned int value);
};
