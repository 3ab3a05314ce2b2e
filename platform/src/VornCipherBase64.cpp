// SPDX-License-Identifier: Apache-2.0
#include "VornCipherBase64.h"

#include <algorithm>

#include <openssl/evp.h>

namespace vorn {
namespace {

constexpr std::size_t TRIPLE = 3; // so many bytes ...
constexpr std::size_t QUAD = 4;   // ... are so many characters

} // namespace

Bytes ToBase64Url(const Bytes& bytes) {
    Bytes text((bytes.size() + TRIPLE - 1) / TRIPLE * QUAD + 1); // EVP_EncodeBlock adds a NUL
    EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    text.pop_back();
    while (!text.empty() && text.back() == '=') {
        text.pop_back();
    }
    std::replace(text.begin(), text.end(), static_cast<unsigned char>('+'), static_cast<unsigned char>('-'));
    std::replace(text.begin(), text.end(), static_cast<unsigned char>('/'), static_cast<unsigned char>('_'));
    return text;
}

bool FromBase64Url(const unsigned char* text, std::size_t length, Bytes& bytes) {
    Bytes padded(text, text + length);
    std::replace(padded.begin(), padded.end(), static_cast<unsigned char>('-'),
                 static_cast<unsigned char>('+'));
    std::replace(padded.begin(), padded.end(), static_cast<unsigned char>('_'),
                 static_cast<unsigned char>('/'));
    const std::size_t padding = (QUAD - length % QUAD) % QUAD;
    padded.insert(padded.end(), padding, static_cast<unsigned char>('='));

    Bytes decoded(padded.size() / QUAD * TRIPLE);
    if (padding == TRIPLE ||
        EVP_DecodeBlock(decoded.data(), padded.data(), static_cast<int>(padded.size())) < 0) {
        return false;
    }
    decoded.resize(decoded.size() - padding);
    // EVP_DecodeBlock forgives blanks, inner padding and stray bits; only the way back is strict.
    const Bytes again = ToBase64Url(decoded);
    if (!std::equal(again.begin(), again.end(), text, text + length)) {
        return false;
    }
    bytes = std::move(decoded);
    return true;
}

} // namespace vorn
