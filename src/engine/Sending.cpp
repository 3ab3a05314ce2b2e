// SPDX-License-Identifier: Apache-2.0
#include "engine/Sending.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include <cxxabi.h>

namespace httpclient::engine {

namespace {

constexpr int WRITES_A_TURN = 16; ///< so that a long body does not starve others on a loop

iovec PieceOf(std::string_view text) noexcept {
    return {const_cast<char*>(text.data()), text.size()}; // iovec is for reading and writing
}

} // namespace

Sending::Sending(const Request::Body& request, const Head& head)
    : m_request(request), m_left{PieceOf(head[0]), PieceOf(head[1]), PieceOf(head[2]), {}} {
    if (request.content == Request::Body::Content::Text) {
        SetBody(request.Text());
    } else if (request.content == Request::Body::Content::Source) {
        m_ended = false;
    }
}

void Sending::SetBody(std::string_view piece) noexcept {
    m_left.back() = PieceOf(piece);
}

void Sending::FailSource(FailureKind kind, const char* text) {
    m_failed = true;
    m_fault = {kind, {}, text};
}

/// @return what the source returns; negative, too, when it throws or was never there.
// What cancels a thread is caught by reference, and has no object. The sanitizer takes that for a mistake.
__attribute__((no_sanitize("null"))) std::ptrdiff_t Sending::AskSource() {
    try {
        if (!m_opened) {
            m_opened = true;
            m_source = m_request.open ? m_request.open() : nullptr;
        }
        return m_source ? m_source(m_piece.data() + CHUNK_HEAD, PIECE) : -1;
    } catch (abi::__forced_unwind&) {
        throw; // the thread is cancelled
    } catch (...) {
        m_threw = true;
        return -1;
    }
}

void Sending::RunSource() {
    m_piece.resize(CHUNK_HEAD + PIECE + CHUNK_END);
    std::size_t size = 0;
    // A source that has given what it said is asked once more before its last piece goes out.
    do {
        const std::ptrdiff_t given = AskSource();
        if (given < 0) {
            return FailSource(FailureKind::Cancelled, "the body's source gave up");
        }
        if (given == 0) {
            m_ended = true;
            break;
        }
        if (size != 0 || static_cast<std::size_t>(given) > PIECE ||
            (m_request.length && static_cast<std::uint64_t>(given) > *m_request.length - m_given)) {
            return FailSource(FailureKind::InvalidRequest, "the body's source gave more than it said");
        }
        size = static_cast<std::size_t>(given);
        m_given += size;
    } while (m_request.length && m_given == *m_request.length);
    if (m_ended && m_request.length && m_given < *m_request.length) {
        return FailSource(FailureKind::InvalidRequest,
                          "the body's source ended before the length that it said");
    }
    Accept(size);
}

/// Frames what the source gave.
void Sending::Accept(std::size_t size) {
    if (m_request.length) {
        SetBody(std::string_view(m_piece).substr(CHUNK_HEAD, size));
        return;
    }
    constexpr std::string_view LAST_CHUNK = "0\r\n\r\n";
    if (size == 0) {
        SetBody(LAST_CHUNK);
        return;
    }
    char digits[CHUNK_HEAD];
    constexpr int HEX = 16;
    char* end = std::to_chars(std::begin(digits), std::end(digits), size, HEX).ptr;
    *end++ = '\r';
    *end++ = '\n';
    const auto headSize = static_cast<std::size_t>(end - digits);
    std::memcpy(m_piece.data() + CHUNK_HEAD - headSize, digits, headSize);
    std::memcpy(m_piece.data() + CHUNK_HEAD + size, "\r\n", CHUNK_END);
    SetBody(std::string_view(m_piece).substr(CHUNK_HEAD - headSize, headSize + size + CHUNK_END));
}

void Sending::Advance(std::size_t bytes) noexcept {
    m_sent += bytes;
    for (iovec* piece = m_left.begin(); bytes > 0; ++piece) {
        const std::size_t step = std::min(bytes, piece->iov_len);
        piece->iov_base = static_cast<char*>(piece->iov_base) + step;
        piece->iov_len -= step;
        bytes -= step;
    }
}

Sending::Status Sending::Step(net::Channel& channel) {
    for (int writes = 0;; ++writes) {
        if (m_failed) {
            return Status::Failed;
        }
        if (needsSource()) {
            return Status::Source;
        }
        iovec* const first =
            std::find_if(m_left.begin(), m_left.end(), [](const iovec& piece) { return piece.iov_len > 0; });
        if (first == m_left.end()) {
            return Status::Sent;
        }
        if (writes == WRITES_A_TURN) {
            m_wants = net::Wants::Write;
            return Status::Pending;
        }
        const net::IoResult result = channel.Write(first, static_cast<int>(m_left.end() - first));
        Advance(result.bytes);
        if (result.error) {
            m_error = result.error;
            return Status::Broken;
        }
        if (result.wants != net::Wants::Nothing) {
            m_wants = result.wants;
            return Status::Pending;
        }
    }
}

} // namespace httpclient::engine
