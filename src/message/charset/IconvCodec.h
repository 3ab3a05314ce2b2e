// SPDX-License-Identifier: Apache-2.0
/// @file
/// The two hops of a conversion: bytes to a character, and a character to bytes, one character at a time.
#pragma once

#include <cstddef>

namespace iconvadapter {

/// What a conversion returns instead of a count, here as in the C library.
inline constexpr std::size_t FAILED = static_cast<std::size_t>(-1);

enum class DecodeStatus {
    Character,  ///< one character was read
    Shift,      ///< bytes were used up that make no character: a byte order mark, a shift sequence
    Incomplete, ///< the input ends inside a character
    Invalid     ///< the input starts with no character of the set
};

struct Decoded {
    DecodeStatus status;
    std::size_t used = 0; ///< input bytes that were used up; 0 for Incomplete and Invalid
    char32_t character = 0;
};

/// Reads characters of one set. Holds the set's shift state.
class Decoder {
public:
    Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    virtual ~Decoder() = default;
    /// Reads one character from `left` bytes, at least one.
    virtual Decoded Decode(const unsigned char* in, std::size_t left) = 0;
    /// How many bytes make one undecodable unit.
    virtual std::size_t InvalidUnit() const { return 1; }
};

enum class EncodeStatus { Written, Unrepresentable, NoRoom };

struct Encoded {
    EncodeStatus status;
    std::size_t written = 0; ///< output bytes; may be 0 for Written, when a set holds a character back
};

/// Writes characters of one set. Holds the set's shift state.
class Encoder {
public:
    Encoder() = default;
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
    virtual ~Encoder() = default;
    virtual Encoded Encode(char32_t character, unsigned char* out, std::size_t room) = 0;
};

} // namespace iconvadapter
