// SPDX-License-Identifier: Apache-2.0
/// @file
/// The bare two-byte sets of 94 x 94 characters (codes 2121-7E7E), which the C library only has inside their
/// EUC encodings, and HZ, which switches between ASCII and one of them.
#pragma once

#include <memory>

#include "message/charset/IconvCodec.h"

namespace iconvadapter {

/// A bare set as a part of an EUC encoding.
struct Bare94 {
    const char* eucName;       ///< the C library's name of the encoding
    unsigned char singleShift; ///< the byte before each character of the set in that encoding; 0: none
};

inline constexpr Bare94 GB2312{"EUC-CN", 0};

/// @return null when the C library lacks the encoding; errno is set.
std::unique_ptr<Decoder> MakeBare94Decoder(Bare94 set);
std::unique_ptr<Encoder> MakeBare94Encoder(Bare94 set);
std::unique_ptr<Decoder> MakeHzDecoder();
std::unique_ptr<Encoder> MakeHzEncoder();

} // namespace iconvadapter
