// SPDX-License-Identifier: Apache-2.0
/// @file
/// The cipher text: "vorn1:" and base64url of nonce, cipher bytes and tag (AES-256-GCM).
#pragma once

#include <string>

#include <vorncipher/VornCipher.h>
#include <vorncipher/VornStatus.h>

#include "VornCipherBytes.h"

namespace vorn {

/// What a text is for. A text made for one purpose does not open for another.
struct Purpose {
    VornCipherKey key;
    unsigned int value;
};

/// Encrypts under a fresh nonce.
/// @param[out] cipherText untouched on failure.
VornStatus SealText(const Bytes& masterKey, Purpose purpose, const std::string& plainText,
                    std::string& cipherText);

/// Decrypts. Every text that does not open gets the same answer, whatever is wrong with it.
/// @param[out] plainText untouched on failure.
VornStatus OpenText(const Bytes& masterKey, Purpose purpose, const std::string& cipherText,
                    std::string& plainText);

} // namespace vorn
