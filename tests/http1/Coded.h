// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bodies in a content coding.
#pragma once

#include <string>
#include <string_view>

namespace httpclient::http1 {

/// Formats of compressed data: RFC 1952, 1950, 1951.
enum class Format { Gzip, Zlib, Raw };

std::string Compressed(std::string_view text, Format format);

} // namespace httpclient::http1
