// SPDX-License-Identifier: Apache-2.0
/// @file
/// The sets that are left to the C library's iconv, with the differences between its tables
/// and GNU libiconv's.
#pragma once

#include <cstdint>
#include <memory>

#include "message/charset/IconvCodec.h"

namespace iconvadapter {

/// No code, or no character, on that side of a Correction.
inline constexpr std::uint32_t NOTHING = 0xFFFFFFFF;

enum class Way { Both, Decode, Encode };

/// What GNU libiconv has where the C library has something else: `count` consecutive codes, beginning with
/// `code`, are the characters beginning with `character`. No code: the characters are unrepresentable. No
/// character: the codes are undecodable.
struct Correction {
    std::uint32_t code; ///< its one, two or four bytes, the first one the most significant
    char32_t character;
    std::uint32_t count = 1;
    Way way = Way::Both;
};

/// The corrections of one set.
struct Corrections {
    const Correction* first = nullptr;
    std::size_t count = 0;
    /// Says whether input of this set that the C library waits for the rest of is wrong already; may be null.
    bool (*wrongAlready)(const unsigned char* in, std::size_t left) = nullptr;
};

/// @param name the C library's name of the set.
/// @return null when the C library has no such set; errno is set.
std::unique_ptr<Decoder> MakeLibcDecoder(const char* name, const Corrections& corrections);
std::unique_ptr<Encoder> MakeLibcEncoder(const char* name, const Corrections& corrections);

} // namespace iconvadapter
