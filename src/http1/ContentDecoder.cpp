// SPDX-License-Identifier: Apache-2.0
#include "http1/ContentDecoder.h"

#include <algorithm>
#include <limits>
#include <new>

namespace httpclient::http1 {
namespace {

constexpr int GZIP_WINDOW = MAX_WBITS + 16;
constexpr int ZLIB_WINDOW = MAX_WBITS;
constexpr int RAW_WINDOW = -MAX_WBITS;

/// @return whether two bytes begin the zlib format (RFC 1950, 2.2). A raw stream that is well-formed does not begin
///         so: it would be a stored block with padding that is not zero.
bool BeginsZlib(unsigned char method, unsigned char flags) noexcept {
    return (method & 0x0FU) == Z_DEFLATED && (method >> 4U) <= 7 && (method * 256U + flags) % 31 == 0;
}

} // namespace

ContentDecoder::ContentDecoder(ContentCoding coding) : m_coding(coding) {
    if (coding == ContentCoding::Gzip) {
        Open(GZIP_WINDOW);
    }
}

ContentDecoder::~ContentDecoder() {
    if (m_open) {
        inflateEnd(&m_stream);
    }
}

void ContentDecoder::Open(int windowBits) {
    if (inflateInit2(&m_stream, windowBits) != Z_OK) {
        throw std::bad_alloc();
    }
    m_open = true;
}

/// Deflate: gathers the first two bytes, which tell the format, and feeds them.
/// @return false: bad.
bool ContentDecoder::OpenFor(const char* data, std::size_t size, std::size_t& gathered) {
    while (m_firstSize < m_first.size() && gathered < size) {
        m_first[m_firstSize++] = data[gathered++];
    }
    if (m_firstSize < m_first.size()) {
        return true;
    }
    Open(BeginsZlib(static_cast<unsigned char>(m_first[0]), static_cast<unsigned char>(m_first[1]))
             ? ZLIB_WINDOW
             : RAW_WINDOW);
    const char* first = m_first.data();
    std::size_t left = m_first.size();
    return Inflate(first, left) && left == 0;
}

/// Runs zlib until the input is used up or the piece is full.
/// @return false: bad.
bool ContentDecoder::Inflate(const char*& data, std::size_t& size) {
    while (m_stream.avail_out > 0) {
        if (m_ended) {
            if (size == 0) {
                return true;
            }
            if (m_coding != ContentCoding::Gzip || inflateReset(&m_stream) != Z_OK) {
                return false;
            }
            m_ended = false;
        }
        const auto given = static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data)); // zlib only reads it
        m_stream.avail_in = given;
        const int outcome = inflate(&m_stream, Z_NO_FLUSH);
        const std::size_t taken = given - m_stream.avail_in;
        data += taken;
        size -= taken;
        if (outcome == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        if (outcome == Z_STREAM_END) {
            m_ended = true;
        } else if (outcome == Z_BUF_ERROR || (outcome == Z_OK && size == 0)) {
            return true; // nothing more without input
        } else if (outcome != Z_OK) {
            return false;
        }
    }
    return true;
}

ContentDecoder::Step ContentDecoder::Decode(const char* data, std::size_t size) {
    m_stream.next_out = reinterpret_cast<Bytef*>(m_piece.data());
    m_stream.avail_out = static_cast<uInt>(m_piece.size());
    std::size_t gathered = 0;
    bool good = m_open || OpenFor(data, size, gathered);
    data += gathered;
    std::size_t left = size - gathered;
    if (good && m_open) {
        good = Inflate(data, left);
    }
    m_pending = m_stream.avail_out == 0 && !m_ended;
    return {size - left, {m_piece.data(), m_piece.size() - m_stream.avail_out}, !good};
}

} // namespace httpclient::http1
