// SPDX-License-Identifier: Apache-2.0
/// @file
/// Cuts what is to be written into pieces that fill TLS records.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include <strings.h>
#include <sys/uio.h>

namespace httpclient::net {

/// Walks through pieces of memory. Small neighbours are put together into one record; what fills a record by itself
/// is not copied, and what was is wiped in the end: it may be a head with a token. The same pieces are always cut in
/// the same way, as OpenSSL demands of a write that is repeated.
class RecordPieces {
public:
    /// The most that one record holds.
    static constexpr std::size_t RECORD = 16384;

    RecordPieces(const iovec* pieces, int count) : m_piece(pieces), m_end(pieces + count) { SkipEmpty(); }
    ~RecordPieces() { explicit_bzero(m_record.data(), m_copied); }
    RecordPieces(const RecordPieces&) = delete;
    RecordPieces& operator=(const RecordPieces&) = delete;

    bool Empty() const { return m_piece == m_end; }

    /// @return what to write next: a record's worth, or more where it lies in one piece. Valid until the next call.
    std::pair<const char*, std::size_t> Next() {
        const std::size_t size = m_piece->iov_len - m_offset;
        if (size >= RECORD || IsLast()) {
            return {At(*m_piece) + m_offset, size};
        }
        return {m_record.data(), Gather()};
    }

    /// Passes over what has been written.
    void Advance(std::size_t bytes) {
        while (bytes > 0) {
            const std::size_t step = std::min(bytes, m_piece->iov_len - m_offset);
            bytes -= step;
            m_offset += step;
            SkipEmpty();
        }
    }

private:
    static const char* At(const iovec& piece) { return static_cast<const char*>(piece.iov_base); }

    bool IsLast() const {
        return std::all_of(m_piece + 1, m_end, [](const iovec& later) { return later.iov_len == 0; });
    }

    void SkipEmpty() {
        while (m_piece != m_end && m_offset == m_piece->iov_len) {
            ++m_piece;
            m_offset = 0;
        }
    }

    std::size_t Gather() {
        std::size_t filled = 0;
        std::size_t offset = m_offset;
        for (const iovec* piece = m_piece; piece != m_end && filled < RECORD; ++piece) {
            const std::size_t size = std::min(piece->iov_len - offset, RECORD - filled);
            if (size > 0) {
                std::memcpy(m_record.data() + filled, At(*piece) + offset, size);
            }
            filled += size;
            offset = 0;
        }
        m_copied = std::max(m_copied, filled);
        return filled;
    }

    const iovec* m_piece;
    const iovec* m_end;
    std::size_t m_offset = 0;
    std::size_t m_copied = 0;
    std::array<char, RECORD> m_record; // not filled before it is needed
};

} // namespace httpclient::net
