// SPDX-License-Identifier: Apache-2.0
/// @file
/// The way up of an exchange: head and body of a request onto a connection.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <sys/uio.h>

#include "engine/Connecting.h"
#include "engine/RequestBody.h"
#include "net/Channel.h"

namespace httpclient::engine {

/// Sends one request. A body is a text of the request's, or comes piece by piece from a source of the host's.
class Sending {
public:
    enum class Status {
        Pending, ///< the connection takes no more just now: wants()
        Source,  ///< RunSource() has to be called
        Sent,    ///< all of it
        Broken,  ///< the connection does not take it: error(); an answer may have come all the same
        Failed   ///< the source did not keep its word: fault()
    };

    /// A request's head in up to three pieces, which live as long as the sending.
    using Head = std::array<std::string_view, 3>;

    /// @param request lives as long as this object. @param head what was written for it.
    Sending(const Request::Body& request, const Head& head);

    Status Step(net::Channel& channel);
    /// Asks the source for the next piece. Host code.
    void RunSource();

    /// @return whether the source has to be asked before anything can be sent. The first piece is asked for before
    ///         the head goes out, so that a source that cannot begin sends nothing.
    bool needsSource() const noexcept { return !m_ended && m_left.back().iov_len == 0; }
    net::Wants wants() const noexcept { return m_wants; }
    std::error_code error() const noexcept { return m_error; }
    Fault& fault() noexcept { return m_fault; }
    /// @return how many bytes went onto the connection.
    std::uint64_t sent() const noexcept { return m_sent; }
    /// @return whether the request's source was opened: then it cannot be had again without asking.
    bool sourceOpened() const noexcept { return m_opened; }
    /// @return whether the source has thrown.
    bool sourceThrew() const noexcept { return m_threw; }

private:
    static constexpr std::size_t PIECE = 16UL * 1024; ///< asked of a source at a time
    static constexpr std::size_t CHUNK_HEAD = 8;      ///< room for "4000\r\n" before it
    static constexpr std::size_t CHUNK_END = 2;       ///< "\r\n" behind it

    std::ptrdiff_t AskSource();
    void Accept(std::size_t size);
    void SetBody(std::string_view piece) noexcept;
    void FailSource(FailureKind kind, const char* text);
    void Advance(std::size_t bytes) noexcept;

    const Request::Body& m_request;
    /// What is left: of the head's pieces, then of the text, or of the source's last piece.
    std::array<iovec, std::tuple_size_v<Head> + 1> m_left;
    BodySource m_source;
    std::string m_piece;       ///< the source's last piece, framed
    std::uint64_t m_given = 0; ///< by the source
    bool m_opened = false;
    bool m_threw = false;
    bool m_ended = true; ///< the source has nothing more
    net::Wants m_wants = net::Wants::Nothing;
    std::error_code m_error;
    Fault m_fault;
    bool m_failed = false;
    std::uint64_t m_sent = 0;
};

} // namespace httpclient::engine
