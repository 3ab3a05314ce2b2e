// SPDX-License-Identifier: Apache-2.0
#include "http1/ResponseReader.h"

#include <algorithm>
#include <limits>

#include "http1/ContentDecoder.h"
#include "http1/HeadParser.h"

namespace httpclient::http1 {
namespace {

constexpr unsigned MAX_INTERIM = 8;
constexpr std::size_t MAX_PIECE = 64UL * 1024;
/// Places in a head are kept as 32 bits.
constexpr std::size_t MAX_HEAD = std::numeric_limits<std::int32_t>::max();
/// Less is not worth an operation on the socket of its own: it comes with what was asked for anyway.
constexpr std::uint64_t LEAST_ROOM = 4096;
constexpr std::uint64_t LEAST_ROOM_IN_CHUNK = 64UL * 1024;
/// Room is filled with zeros first, because a text has no other way: while this much of it is in the cache.
constexpr std::size_t MAX_ROOM = 256UL * 1024;

constexpr int SWITCHING_PROTOCOLS = 101;
constexpr int NO_CONTENT = 204;
constexpr int PARTIAL_CONTENT = 206;
constexpr int NOT_MODIFIED = 304;

bool IsInterim(int status) noexcept {
    return status < 200;
}

} // namespace

ResponseReader::ResponseReader(Method method, const Limits& limits, bool decode, ResponseHead& head)
    : m_method(method), m_decode(decode), m_limits{std::min(limits.head, MAX_HEAD), limits.body},
      m_head(head), m_frame(limits.head) {
    m_head.Clear();
}

ResponseReader::~ResponseReader() = default;

ResponseReader::Progress ResponseReader::Feed(const char* data, std::size_t size) {
    m_begun = m_begun || size > 0;
    switch (m_stage) {
    case Stage::Head:
        return FeedHead(data, size);
    case Stage::Body:
        return FeedBody(data, size);
    case Stage::Ended:
        return {Event::End, 0};
    default:
        return {Event::Error, 0};
    }
}

ResponseReader::Progress ResponseReader::FeedHead(const char* data, std::size_t size) {
    std::size_t used = 0;
    while (used < size) {
        const HeadCollector::Outcome part =
            m_collector.Feed(m_head.Text(), data + used, size - used, m_limits.head);
        used += part.consumed;
        if (part.error != GrammarError{}) {
            return {Fail(part.error), used};
        }
        if (!part.whole) {
            break;
        }
        if (const GrammarError error = TakeHead(); error != GrammarError{}) {
            return {Fail(error), used};
        }
        if (m_stage == Stage::Body) {
            return {Event::Head, used};
        }
    }
    return {Event::More, used};
}

/// Takes a whole head apart. An interim one is dropped.
GrammarError ResponseReader::TakeHead() {
    HeadFacts facts;
    if (const GrammarError error = ParseHead(m_head, facts); error != GrammarError{}) {
        return error;
    }
    if (!IsInterim(m_head.status)) {
        OpenBody(facts);
        return {};
    }
    if (m_head.status == SWITCHING_PROTOCOLS) {
        return GrammarError::UpgradeRefused;
    }
    if (++m_interim > MAX_INTERIM) {
        return GrammarError::TooManyInterim;
    }
    m_head.Clear();
    m_collector = {};
    return {};
}

void ResponseReader::OpenBody(const HeadFacts& facts) {
    m_stage = Stage::Body;
    const int status = m_head.status;
    const bool announced = facts.chunked() || facts.length().value_or(0) > 0;
    if (m_method == Method::Head || status == NO_CONTENT || status == NOT_MODIFIED) {
        m_frame.Open(BodyFrame::Kind::None, 0);
    } else if (facts.chunked()) {
        m_frame.Open(BodyFrame::Kind::Chunked, 0);
    } else if (facts.length()) {
        m_frame.Open(BodyFrame::Kind::Length, *facts.length());
    } else {
        m_frame.Open(BodyFrame::Kind::Close, 0);
    }
    // A part of something coded cannot be decoded: its coding is that of the whole.
    if (m_decode && status != PARTIAL_CONTENT) {
        m_coding = facts.coding();
    }
    // A 204 that announces a body may be followed by it, which must not become the next answer.
    m_keepAlive =
        facts.keepAlive() && m_frame.kind() != BodyFrame::Kind::Close && !(status == NO_CONTENT && announced);
    m_keepAliveTimeout = facts.keepAliveTimeout();
}

void ResponseReader::KeepBody(std::string& body) {
    const bool known = m_frame.kind() == BodyFrame::Kind::Length && m_coding == ContentCoding::None;
    if (known && m_frame.left() > m_limits.body) {
        Fail(GrammarError::BodyTooLarge);
    }
    m_kept.Open(body, known ? m_frame.left() : m_limits.body, known);
}

void ResponseReader::HandOverBody() {
    m_kept = {};
}

std::string_view ResponseReader::piece() const noexcept {
    return m_piece;
}

ResponseReader::Progress ResponseReader::FeedBody(const char* data, std::size_t size) {
    m_piece = {};
    std::size_t used = 0;
    for (;;) {
        const ChunkReader::Outcome frame = m_frame.Advance(data + used, size - used);
        used += frame.consumed;
        if (frame.error != GrammarError{}) {
            return {Fail(frame.error), used};
        }
        const auto payload = static_cast<std::size_t>(std::min<std::uint64_t>(m_frame.left(), size - used));
        if (payload == 0 && !Pending()) {
            return {m_frame.ended() ? Finish() : Event::More, used};
        }
        GrammarError error{};
        const std::size_t taken = Deliver(data + used, payload, error);
        m_frame.Take(taken);
        used += taken;
        if (error != GrammarError{}) {
            return {Fail(error), used};
        }
        if (!m_piece.empty()) {
            return {Event::Piece, used};
        }
    }
}

/// @return how many bytes of the body were taken.
std::size_t ResponseReader::Deliver(const char* data, std::size_t size, GrammarError& error) {
    if (m_coding == ContentCoding::None) {
        if (m_kept.IsOpen()) {
            error = Keep({data, size});
            return size;
        }
        m_piece = {data, std::min(size, MAX_PIECE)};
        return m_piece.size();
    }
    if (!m_decoder) {
        m_decoder = std::make_unique<ContentDecoder>(m_coding);
    }
    const ContentDecoder::Step step = m_decoder->Decode(data, size);
    if (m_kept.IsOpen()) {
        error = Keep(step.output); // first: what is decoded before it goes wrong may be too much
    } else {
        m_piece = step.output;
    }
    if (step.bad && error == GrammarError{}) {
        error = GrammarError::BadContentCoding;
    }
    return step.consumed;
}

GrammarError ResponseReader::Keep(std::string_view output) {
    if (output.size() > m_kept.left()) {
        return GrammarError::BodyTooLarge;
    }
    m_kept.Append(output.data(), output.size());
    return {};
}

bool ResponseReader::Pending() const noexcept {
    return m_decoder && m_decoder->pending();
}

ResponseReader::Progress ResponseReader::FeedEnd(bool clean) {
    if (m_stage == Stage::Head) {
        return {Fail(GrammarError::EndedEarly), 0};
    }
    const Progress rest = Feed(nullptr, 0);
    if (rest.event != Event::More) {
        return rest;
    }
    if (m_frame.kind() != BodyFrame::Kind::Close) {
        return {Fail(GrammarError::EndedEarly), 0};
    }
    return {clean ? Finish() : Fail(GrammarError::NotClosedCleanly), 0};
}

ResponseReader::Event ResponseReader::Finish() {
    // An empty body is empty in every coding, if it is known to be empty.
    const bool whole = m_decoder
                           ? m_decoder->whole()
                           : m_coding == ContentCoding::None || m_frame.kind() != BodyFrame::Kind::Close;
    if (!whole) {
        return Fail(GrammarError::BadContentCoding);
    }
    if (m_kept.IsOpen()) {
        m_kept.Trim();
    }
    m_decoder.reset();
    m_stage = Stage::Ended;
    return Event::End;
}

ResponseReader::Event ResponseReader::Fail(GrammarError error) noexcept {
    m_error = error;
    m_stage = Stage::Failed;
    return Event::Error;
}

ResponseReader::Room ResponseReader::DirectRoom(std::size_t most) {
    const std::uint64_t least = m_frame.kind() == BodyFrame::Kind::Chunked ? LEAST_ROOM_IN_CHUNK : LEAST_ROOM;
    if (m_stage != Stage::Body || !m_kept.IsOpen() || m_coding != ContentCoding::None ||
        m_frame.left() < least) {
        return {nullptr, 0};
    }
    const auto room =
        static_cast<std::size_t>(std::min<std::uint64_t>({m_frame.left(), m_kept.left(), most, MAX_ROOM}));
    if (room == 0) {
        return {nullptr, 0};
    }
    return {m_kept.Room(room), room};
}

ResponseReader::Event ResponseReader::DirectFilled(std::size_t size) {
    m_kept.Filled(size);
    m_frame.Take(size);
    return m_frame.ended() ? Finish() : Event::More;
}

std::uint64_t ResponseReader::Expected() const noexcept {
    const bool known = m_stage == Stage::Body && m_frame.kind() != BodyFrame::Kind::Close;
    return known ? m_frame.left() : 0;
}

std::error_code ResponseReader::error() const noexcept {
    return m_error == GrammarError{} ? std::error_code() : make_error_code(m_error);
}

const ResponseHead& ResponseReader::head() const noexcept {
    return m_head;
}

bool ResponseReader::begun() const noexcept {
    return m_begun;
}

bool ResponseReader::keepAlive() const noexcept {
    return m_keepAlive;
}

std::optional<std::chrono::seconds> ResponseReader::keepAliveTimeout() const noexcept {
    return m_keepAliveTimeout;
}

} // namespace httpclient::http1
