// SPDX-License-Identifier: Apache-2.0
#include "engine/Receiving.h"

#include <algorithm>
#include <functional>

#include "http1/GrammarError.h"

namespace httpclient::engine {

namespace {

using Event = http1::ResponseReader::Event;

constexpr int READS_A_TURN = 16;                     ///< so that a long body does not starve others on a loop
constexpr std::size_t MOST_DIRECTLY = 256UL * 1024;  ///< in one read into a long body
constexpr std::uint64_t WORTH_WAITING = 64UL * 1024; ///< of a long body, before the next wake-up

} // namespace

Receiving::Receiving(Method method, const http1::Limits& limits, bool decode, http1::ResponseHead& head)
    : m_reader(method, limits, decode, head) {}

Receiving::Status Receiving::FailByGrammar() {
    const std::error_code code = m_reader.error();
    m_fault = {http1::KindOf(static_cast<http1::GrammarError>(code.value())), code, {}};
    return Status::Failed;
}

Receiving::Status Receiving::Fail(const net::IoResult& result) {
    const bool byTls = result.error.category() == net::TlsCategory();
    const FailureKind kind = byTls && !begun() ? FailureKind::Tls : FailureKind::ConnectionLost;
    m_fault = {KindBy(result.error, kind), result.error, {}};
    return Status::Failed;
}

Receiving::Status Receiving::Feed(std::string_view bytes) {
    const http1::ResponseReader::Progress progress = m_reader.Feed(bytes.data(), bytes.size());
    m_left = bytes.substr(progress.consumed);
    switch (progress.event) {
    case Event::More:
        return Status::Pending;
    case Event::Head:
        m_goOn = true;
        m_piece = {};
        return Status::Head;
    case Event::Piece:
        m_goOn = true;
        m_piece = m_reader.piece();
        return Status::Piece;
    case Event::End:
        m_surplus = !m_left.empty();
        return Status::Ended;
    case Event::Error:
        break;
    }
    return FailByGrammar();
}

void Receiving::Preserve() {
    std::string copy; // what is copied may stand in the text that it goes to
    copy.reserve(m_piece.size() + m_left.size());
    copy.append(m_piece).append(m_left);
    m_preserved.swap(copy);
    m_piece = std::string_view(m_preserved).substr(0, m_piece.size());
    m_left = std::string_view(m_preserved).substr(m_piece.size());
}

Receiving::Status Receiving::EndOfInput(const net::IoResult& result) {
    if (!m_ended) {
        m_ended = true;
        m_endedCleanly = result.clean;
    }
    switch (m_reader.FeedEnd(m_endedCleanly).event) {
    case Event::End:
        m_surplus = true; // nothing can follow on this connection
        return Status::Ended;
    case Event::Piece:
        m_goOn = true;
        m_left = {};
        m_piece = m_reader.piece();
        return Status::Piece;
    default:
        return FailByGrammar();
    }
}

Receiving::Status Receiving::ReadDirectly(net::Channel& channel, http1::ResponseReader::Room room) {
    const net::IoResult result = channel.Read(room.data, room.size);
    m_received += result.bytes;
    if (result.bytes != 0) {
        switch (m_reader.DirectFilled(result.bytes)) {
        case Event::End:
            return Status::Ended;
        case Event::Error:
            return FailByGrammar();
        default:
            break;
        }
        m_wants = net::Wants::Nothing;
        return Status::Pending;
    }
    if (result.error) {
        return Fail(result);
    }
    if (result.ended) {
        return EndOfInput(result);
    }
    m_wants = result.wants;
    if (!channel.isTls()) {
        channel.WakeAt(static_cast<std::size_t>(std::min(m_reader.Expected(), WORTH_WAITING)));
    }
    return Status::Pending;
}

Receiving::Status Receiving::ReadToScratch(net::Channel& channel, Scratch scratch) {
    const net::IoResult result = channel.Read(scratch.data, scratch.size);
    m_received += result.bytes;
    if (result.bytes != 0) {
        // A read that did not fill its room has taken all there is.
        const bool moreMayBeThere = result.bytes == scratch.size || channel.Buffered();
        m_wants = moreMayBeThere ? net::Wants::Nothing : net::Wants::Read;
        const Status status = Feed({scratch.data, result.bytes});
        if (status == Status::Pending && m_reader.Expected() > scratch.size) {
            m_wants = net::Wants::Nothing; // a long body begins: it may have come meanwhile
        }
        return status;
    }
    if (result.error) {
        return Fail(result);
    }
    if (result.ended) {
        return EndOfInput(result);
    }
    m_wants = result.wants;
    return Status::Pending;
}

/// One read. @return Pending with wants() Nothing when something came and more may be there.
Receiving::Status Receiving::Read(net::Channel& channel, Scratch scratch) {
    const http1::ResponseReader::Room room = m_reader.DirectRoom(MOST_DIRECTLY);
    if (room.size != 0) {
        return ReadDirectly(channel, room);
    }
    const Status status = ReadToScratch(channel, scratch);
    if (status == Status::Pending && m_wants == net::Wants::Read) {
        // What is left may be shorter than what a long body was waited for with: its last bytes, the end of a chunk.
        channel.WakeAt(1);
    }
    return status;
}

Receiving::Status Receiving::Step(net::Channel& channel, Scratch scratch) {
    if (m_goOn) {
        m_goOn = false;
        const Status status = m_ended ? EndOfInput({}) : Feed(m_left);
        if (status != Status::Pending || m_ended) {
            return status;
        }
    }
    for (int turn = 0; turn < READS_A_TURN; ++turn) {
        const Status status = Read(channel, scratch);
        if (status != Status::Pending || m_wants != net::Wants::Nothing) {
            return status;
        }
    }
    return Status::Again;
}

} // namespace httpclient::engine
