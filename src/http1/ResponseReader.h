// SPDX-License-Identifier: Apache-2.0
/// @file
/// The reader of one answer: bytes in, status, fields and body out. No I/O, no clock.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <httpclient/Request.h>

#include "http1/BodyFrame.h"
#include "http1/GrammarError.h"
#include "http1/HeadCollector.h"
#include "http1/HeadFacts.h"
#include "http1/KeptBody.h"
#include "http1/ResponseHead.h"

namespace httpclient::http1 {

class ContentDecoder;

/// What bounds an answer.
struct Limits {
    std::size_t head = 64UL * 1024;          ///< of each head (interim ones, too), and of the trailers
    std::uint64_t body = 64UL * 1024 * 1024; ///< of a kept body, decoded
};

/// Reads one final answer, with the interim answers before it.
///
/// The driver feeds what it received and is told what happened. After Head it may look at head() and must choose
/// with KeepBody() or HandOverBody() where the body goes; then it goes on feeding what was not consumed.
class ResponseReader {
public:
    enum class Event {
        More,  ///< all was consumed, and the answer is not whole
        Head,  ///< the final answer's head is there (told once, also when no body follows)
        Piece, ///< HandOverBody(): piece() is there, until the next call
        End,   ///< the answer is whole; what was not consumed is not its
        Error  ///< error() says why
    };
    struct Progress {
        Event event;
        std::size_t consumed; ///< of the bytes that were fed
    };

    /// @param method of the request: an answer to HEAD has no body.
    /// @param limits bounds.
    /// @param decode undo a Content-Encoding of gzip, x-gzip or deflate.
    /// @param head filled; must outlive the reader.
    ResponseReader(Method method, const Limits& limits, bool decode, ResponseHead& head);
    ~ResponseReader();
    ResponseReader(const ResponseReader&) = delete;
    ResponseReader& operator=(const ResponseReader&) = delete;

    /// Goes on with received bytes. May be called with none, to go on after Head or Piece.
    /// @throw std::bad_alloc; the reader is of no more use then.
    Progress Feed(const char* data, std::size_t size);
    /// The connection ended. @param clean TLS: with close_notify; plain TCP: true.
    /// @return End, Piece (call again), or Error.
    Progress FeedEnd(bool clean);

    /// After Head: the body is appended to a text, bounded by Limits::body. @param body must outlive the reader.
    void KeepBody(std::string& body);
    /// After Head: the body is handed over as pieces of at most 64 KiB, without a bound on the whole.
    void HandOverBody();
    /// After Piece: @return a view into the bytes that were fed, or into the reader; until the next call.
    std::string_view piece() const noexcept;

    /// A long body that is kept and not coded may be received straight into its text: room for the next bytes, at
    /// most @p most, never more than the body still takes. Room is reserved within bounds, never on the server's
    /// word alone. @return {nullptr, 0} when bytes have to be fed.
    struct Room {
        char* data;
        std::size_t size;
    };
    Room DirectRoom(std::size_t most);
    /// So many bytes were put into DirectRoom(). @return More, End or Error.
    Event DirectFilled(std::size_t size);
    /// @return how many bytes of the body are still to come at least; 0 when unknown. For the socket's low-water
    ///         mark.
    std::uint64_t Expected() const noexcept;

    std::error_code error() const noexcept;
    const ResponseHead& head() const noexcept;
    /// @return whether any byte of an answer, an interim one included, was fed.
    bool begun() const noexcept;
    /// After End: @return whether the connection may be used again as far as the answer says (version, Connection,
    ///         framing).
    bool keepAlive() const noexcept;
    /// After End: @return "timeout" of the answer's Keep-Alive; nothing without one.
    std::optional<std::chrono::seconds> keepAliveTimeout() const noexcept;

private:
    enum class Stage { Head, Body, Ended, Failed };

    Progress FeedHead(const char* data, std::size_t size);
    Progress FeedBody(const char* data, std::size_t size);
    GrammarError TakeHead();
    void OpenBody(const HeadFacts& facts);
    std::size_t Deliver(const char* data, std::size_t size, GrammarError& error);
    GrammarError Keep(std::string_view output);
    bool Pending() const noexcept;
    Event Finish();
    Event Fail(GrammarError error) noexcept;

    const Method m_method;
    const bool m_decode;
    bool m_begun = false;
    bool m_keepAlive = false;
    Stage m_stage = Stage::Head;
    ContentCoding m_coding = ContentCoding::None;
    unsigned m_interim = 0;
    GrammarError m_error{};
    const Limits m_limits;
    ResponseHead& m_head;
    HeadCollector m_collector;
    BodyFrame m_frame;
    KeptBody m_kept;
    std::unique_ptr<ContentDecoder> m_decoder; ///< made with the first byte that is coded
    std::string_view m_piece;
    std::optional<std::chrono::seconds> m_keepAliveTimeout;
};

} // namespace httpclient::http1
