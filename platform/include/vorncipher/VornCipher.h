// SPDX-License-Identifier: Apache-2.0
/// @file
/// The platform's key-management cipher.
#pragma once

#include <string>

/// Selects one of the platform's keys.
enum VornCipherKey : int {
    VORN_CIPHER_KEY_TLS = 1 ///< The key of the TLS key password.
};

/// The platform's key-management cipher. Safe from any number of threads.
class __attribute__((visibility("default"))) VornCipher {
public:
    /// Decrypts a text.
    /// @param cipherText the encrypted text.
    /// @param[out] plainText the plain text; untouched on failure.
    /// @param key,value what the text was encrypted for.
    /// @return 0 on success; another value when the text was made for another key or value, or tampered with.
    static int Decrypt(const std::string& cipherText, std::string& plainText, VornCipherKey key,
                       unsigned int value);
};
