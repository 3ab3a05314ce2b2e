// SPDX-License-Identifier: Apache-2.0
/// @file
/// The character sets and their names: what GNU libiconv calls them, and what reads and writes them here.
#pragma once

#include <memory>
#include <string_view>

#include "message/charset/IconvCodec.h"

namespace iconvadapter {

struct Charset;

struct NamedCharset {
    const Charset* charset; ///< null: no set has that name
    bool ignore;            ///< whether "//IGNORE" followed the name
};

/// Finds a set by any of its names, in any case of letters, with any number of the suffixes "//IGNORE" and
/// "//TRANSLIT". The empty name is the locale's set.
NamedCharset FindCharset(std::string_view name);

/// Whether each ASCII byte is its own character in any state, so that runs of ASCII may be copied.
bool KeepsAscii(const Charset& charset);

/// @return null when the C library lacks the set; errno is set.
std::unique_ptr<Decoder> MakeDecoder(const Charset& charset);
std::unique_ptr<Encoder> MakeEncoder(const Charset& charset);

} // namespace iconvadapter
