// SPDX-License-Identifier: Apache-2.0
/// @file
/// Undoes the codings of a body: gzip and deflate.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include <zlib.h>

#include "http1/HeadFacts.h"

namespace httpclient::http1 {

/// Decodes a body that comes in pieces into pieces of bounded size.
///
/// gzip may have several members (RFC 1952, 2.2). Deflate is meant to be in the zlib format (RFC 9110, 8.4.1.2), but
/// servers that send it without are many, so that both are taken.
class ContentDecoder {
public:
    static constexpr std::size_t PIECE = 16UL * 1024;

    struct Step {
        std::size_t consumed;
        std::string_view output; ///< until the next call
        bool bad;                ///< not in that coding, or something follows it
    };

    /// @param coding not None. @throw std::bad_alloc
    explicit ContentDecoder(ContentCoding coding);
    ~ContentDecoder();
    ContentDecoder(const ContentDecoder&) = delete;
    ContentDecoder& operator=(const ContentDecoder&) = delete;

    /// Decodes until the input is used up, or a piece is full. @throw std::bad_alloc
    Step Decode(const char* data, std::size_t size);
    /// @return whether there may be more output without input: the last piece was full.
    bool pending() const noexcept { return m_pending; }
    /// @return whether the coded body may end here.
    bool whole() const noexcept { return m_ended; }

private:
    void Open(int windowBits);
    bool OpenFor(const char* data, std::size_t size, std::size_t& gathered);
    bool Inflate(const char*& data, std::size_t& size);

    ContentCoding m_coding;
    bool m_open = false;
    bool m_ended = false;
    bool m_pending = false;
    std::size_t m_firstSize = 0; ///< deflate: the two bytes that tell the format
    std::array<char, 2> m_first{};
    z_stream m_stream{};
    std::array<char, PIECE> m_piece;
};

} // namespace httpclient::http1
