// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where an answer's body ends (RFC 9112, 6.3).
#pragma once

#include <cstddef>
#include <cstdint>

#include "http1/ChunkReader.h"

namespace httpclient::http1 {

/// Tells the body's bytes from those that frame it.
class BodyFrame {
public:
    enum class Kind { None, Length, Chunked, Close };

    /// @param trailerLimit the most bytes of trailers.
    explicit BodyFrame(std::size_t trailerLimit) noexcept : m_chunks(trailerLimit) {}

    void Open(Kind kind, std::uint64_t length) noexcept {
        m_kind = kind;
        m_left = length;
    }
    Kind kind() const noexcept { return m_kind; }

    /// Reads what is not the body's.
    ChunkReader::Outcome Advance(const char* data, std::size_t size) noexcept {
        return m_kind == Kind::Chunked ? m_chunks.Advance(data, size) : ChunkReader::Outcome{0, {}};
    }
    /// @return how many of the next bytes are the body's at most.
    std::uint64_t left() const noexcept {
        switch (m_kind) {
        case Kind::Chunked:
            return m_chunks.left();
        case Kind::Close:
            return UINT64_MAX;
        default:
            return m_left;
        }
    }
    /// So many bytes of the body were taken.
    void Take(std::uint64_t size) noexcept {
        if (m_kind == Kind::Chunked) {
            m_chunks.Take(size);
        } else if (m_kind == Kind::Length) {
            m_left -= size;
        }
    }
    /// @return whether the body is whole; never of one that ends with the connection.
    bool ended() const noexcept {
        return m_kind == Kind::Chunked ? m_chunks.ended() : m_kind != Kind::Close && m_left == 0;
    }

private:
    ChunkReader m_chunks;
    std::uint64_t m_left = 0; ///< Kind::Length
    Kind m_kind = Kind::None;
};

} // namespace httpclient::http1
