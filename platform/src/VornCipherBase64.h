// SPDX-License-Identifier: Apache-2.0
/// @file
/// base64url without padding, as cipher texts and master key files are written in.
#pragma once

#include <cstddef>

#include "VornCipherBytes.h"

namespace vorn {

/// Writes bytes as base64url without padding.
Bytes ToBase64Url(const Bytes& bytes);

/// Reads base64url without padding. Strict: each byte string has exactly one accepted text, so that no
/// character of a text can be changed unnoticed, not even in the bits that encode nothing.
/// @return false when the text is not the one form of some bytes; `bytes` is untouched then.
bool FromBase64Url(const unsigned char* text, std::size_t length, Bytes& bytes);

} // namespace vorn
