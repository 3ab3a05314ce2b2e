// SPDX-License-Identifier: Apache-2.0
/// @file
/// The Unicode forms, in code of our own: the C library differs from GNU libiconv in what it takes for one
/// undecodable unit, in byte order marks and in the default byte order.
#pragma once

#include <memory>

#include "message/charset/IconvCodec.h"

namespace iconvadapter {

/// A form with units of two or four bytes.
struct WideForm {
    enum class Order { Big, Little, Marked /**< big until a byte order mark says otherwise */ };
    enum class Range {
        Utf16, ///< surrogate pairs make one character
        Ucs2,  ///< surrogates are invalid
        Utf32, ///< Unicode scalar values
        Ucs4,  ///< up to 7fffffff when marked, anything otherwise
    };
    Order order;
    Range range;
};

std::unique_ptr<Decoder> MakeUtf8Decoder();
std::unique_ptr<Encoder> MakeUtf8Encoder();
std::unique_ptr<Decoder> MakeWideDecoder(WideForm form);
std::unique_ptr<Encoder> MakeWideEncoder(WideForm form);

} // namespace iconvadapter
