// SPDX-License-Identifier: Apache-2.0
/// @file
/// The character sets and their names: what GNU libiconv calls them, and what reads and writes them here.
#pragma once

#include "message/IconvCodec.h"

#include <memory>
#include <string_view>

namespace iconvadapter {

struct Charset;

/// Finds a set by any of its names, in any case of letters. The empty name is the locale's set.
/// @return null when there is no such set.
const Charset* FindCharset(std::string_view name);

/// Whether each ASCII byte is its own character in any state, so that runs of ASCII may be copied.
bool KeepsAscii(const Charset& charset);

/// @return null when the C library lacks the set; errno is set.
std::unique_ptr<Decoder> MakeDecoder(const Charset& charset);
std::unique_ptr<Encoder> MakeEncoder(const Charset& charset);

} // namespace iconvadapter
