// SPDX-License-Identifier: Apache-2.0
// The exchange of a call over its connection: request up, answer down, and what becomes of the connection.
#include <algorithm>
#include <ctime>
#include <utility>

#include <cxxabi.h>

#include "engine/Call.h"

namespace httpclient::engine {

namespace {

constexpr std::uint64_t MOST_DRAINED = 64UL * 1024; ///< of an answer that is not the outcome: not worth more

bool IsSuccess(int status) {
    return status >= 200 && status < 300;
}

Wait WaitForIo(int fd, bool read, bool write) {
    Wait wait;
    wait.what = Wait::For::Io;
    wait.io = {fd, static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0)), 0};
    return wait;
}

} // namespace

Wait Call::BeginExchange(std::unique_ptr<Connection> connection, net::Time now) {
    if (!MayCarryTokenOver(*connection)) {
        return FailFarAway(now);
    }
    Response::Body& answer = m_response.internals();
    answer.head = http1::ResponseHead();
    answer.content.clear();
    answer.reusedConnection = connection->used;
    m_sending.emplace(m_request, HeadPieces());
    const ClientOptions::Body& options = m_client.options();
    m_receiving.emplace(m_request.method, http1::Limits{options.maxHead, options.maxBody},
                        m_request.door.decodes.value_or(options.decompress), answer.head);
    m_connection = std::move(connection);
    m_hasSlot = false; // the connection's now
    m_sent = false;
    m_sendFault.reset();
    m_headSeen = false;
    m_draining = false;
    m_hostPiece = HostPiece::None;
    m_hostFault.reset();
    m_phase = Phase::Send;
    Count(Phase::Send, now);
    m_state = State::Exchanging;
    return {};
}

Wait Call::StepExchange(net::Time now, Scratch scratch) {
    if (m_hostFault) {
        return ExchangeFailed(std::move(*m_hostFault), now);
    }
    Wait wait;
    if (IsSending() && StepSending(now, wait)) {
        return wait;
    }
    // While a body goes up, the answer is listened for; a final one ends the sending.
    if (StepReceiving(now, scratch, wait)) {
        return wait;
    }
    if (IsSending() && m_sending->needsSource()) {
        return Host(HostPiece::Source);
    }
    const bool write =
        (IsSending() && m_sending->wants() == net::Wants::Write) || m_receiving->wants() == net::Wants::Write;
    return WaitForIo(m_connection->channel.fd(), true, write);
}

bool Call::IsSending() const noexcept {
    return !m_sent && !m_headSeen;
}

/// @return whether there is a wait, or the exchange is over.
bool Call::StepSending(net::Time now, Wait& wait) {
    const Sending::Status status = m_sending->Step(m_connection->channel);
    m_requestSent = m_requestSent || m_sending->sent() > 0;
    switch (status) {
    case Sending::Status::Pending:
        return false;
    case Sending::Status::Source:
        if (m_sending->sent() > 0) {
            return false; // a look at the answer first
        }
        wait = Host(HostPiece::Source);
        return true;
    case Sending::Status::Failed:
        wait = ExchangeFailed(std::move(m_sending->fault()), now);
        return true;
    case Sending::Status::Broken:
        // What has arrived is read first: it may be the answer that tells why.
        m_sendFault = Fault{KindBy(m_sending->error(), FailureKind::ConnectionLost), m_sending->error(), {}};
        m_sent = true;
        return false;
    case Sending::Status::Sent:
        break;
    }
    m_sent = true;
    m_phase = Phase::Head;
    Count(Phase::Head, net::Clock::now());
    if (m_connection->channel.Buffered()) {
        return false; // it came with the end of the handshake
    }
    // The answer cannot be there yet: no read before there is something to read.
    wait = WaitForIo(m_connection->channel.fd(), true, false);
    return true;
}

/// @return whether there is a wait, or the exchange is over.
bool Call::StepReceiving(net::Time now, Scratch scratch, Wait& wait) {
    for (;;) {
        const Receiving::Status status = m_receiving->Step(m_connection->channel, scratch);
        if (m_timed != Phase::Body && m_receiving->begun()) {
            Count(Phase::Body, now);
        }
        if (m_draining && m_drained.size() > MOST_DRAINED) {
            wait = ExchangeFailed({}, now);
            return true;
        }
        switch (status) {
        case Receiving::Status::Pending:
            if (m_sendFault) {
                wait = ExchangeFailed(std::move(*m_sendFault), now);
                return true;
            }
            return false;
        case Receiving::Status::Again:
            wait = {Wait::For::Again, {}, net::Time::max()};
            return true;
        case Receiving::Status::Head:
            if (SeeHead(now, wait)) {
                return true;
            }
            break;
        case Receiving::Status::Piece:
            if (!m_draining) {
                wait = Host(HostPiece::Piece);
                return true;
            }
            break;
        case Receiving::Status::Ended:
            wait = ExchangeEnded(net::Clock::now());
            return true;
        case Receiving::Status::Failed:
            if (m_phase == Phase::Send && m_receiving->begun()) {
                m_phase = Phase::Head; // of an answer that came early
            }
            wait = ExchangeFailed(std::move(WorseFault()), net::Clock::now());
            return true;
        }
    }
}

/// Both ways have failed: what writing met first explains it, unless the server has said why.
Fault& Call::WorseFault() noexcept {
    const bool said = m_receiving->begun() || m_receiving->fault().kind == FailureKind::Tls;
    return m_sendFault && !said ? *m_sendFault : m_receiving->fault();
}

/// The final head is there. @return whether there is a wait.
bool Call::SeeHead(net::Time now, Wait& wait) {
    m_headSeen = true;
    m_phase = Phase::Body;
    m_draining = DropRefusedToken(now) || PlanRetryOfStatus(now);
    if (!m_draining && m_request.seen) {
        wait = Host(HostPiece::Head);
        return true;
    }
    ChooseBody();
    return false;
}

void Call::ChooseBody() {
    Response::Body& answer = m_response.internals();
    if (m_draining) {
        m_drained.clear();
        m_receiving->reader().KeepBody(m_drained);
    } else if (m_request.sink && IsSuccess(answer.head.status)) {
        m_receiving->reader().HandOverBody();
    } else {
        m_receiving->reader().KeepBody(answer.content);
    }
}

Wait Call::Host(HostPiece piece) {
    m_hostPiece = piece;
    return {Wait::For::Host, {}, net::Time::max()};
}

bool Call::SeeByHost() {
    m_handedOver = true; // it sees no second answer
    m_response.internals().attempts = m_attempts;
    return m_request.seen(m_response);
}

bool Call::HandOverByHost() {
    m_handedOver = true;
    return m_request.sink(m_receiving->piece());
}

// What cancels a thread is caught by reference, and has no object. The sanitizer takes that for a mistake.
__attribute__((no_sanitize("null"))) void Call::RunHost() {
    const HostPiece piece = std::exchange(m_hostPiece, HostPiece::None);
    const Core::HostCode amid(m_core);
    if (piece == HostPiece::Source) {
        m_sending->RunSource();
        if (m_sending->sourceThrew()) {
            m_core.statistics().CountHostError(HostCodeKind::Source);
        }
    } else {
        bool goOn = false;
        try {
            goOn = piece == HostPiece::Head ? SeeByHost() : HandOverByHost();
        } catch (abi::__forced_unwind&) {
            throw; // the thread is cancelled
        } catch (...) {
            goOn = false;
            m_core.statistics().CountHostError(HostCodeKind::Sink);
        }
        if (!goOn) {
            m_hostFault = Fault{FailureKind::Cancelled, {}, "the host has had enough of the answer"};
        }
    }
    m_forked = m_core.forked();
    if (piece == HostPiece::Head && !m_forked) {
        ChooseBody();
    }
}

/// The answer is whole.
Wait Call::ExchangeEnded(net::Time now) {
    GiveConnectionBack(now);
    if (m_draining) {
        return SendAgain();
    }
    StopCounting(now);
    EndAttempt();
    m_state = State::Done;
    return {};
}

/// A kept connection that died before a byte of the answer came is replaced once by a fresh one, without a word.
bool Call::MayReplace(const Fault& fault) const noexcept {
    return fault.kind == FailureKind::ConnectionLost && m_connection->used && !m_replaced &&
           !m_receiving->begun() && !m_sending->sourceOpened() &&
           (m_request.IsIdempotent() || m_sending->sent() == 0);
}

Wait Call::ExchangeFailed(Fault fault, net::Time now) {
    if (m_draining) { // of an answer that would not have been the outcome
        CloseConnection(CloseReason::Error);
        return SendAgain();
    }
    if (fault.kind == FailureKind::Tls && m_connection->used) {
        fault.kind = FailureKind::ConnectionLost; // its handshake was accepted long ago
    }
    if (!m_forked && MayReplace(fault)) {
        m_replaced = true;
        LetGo()->closing = CloseReason::Server;
        m_hasSlot = true;
        return BeginDial(now);
    }
    return Fail(std::move(fault), now);
}

/// @return why the connection cannot be kept after an answer that is whole; nothing when it can.
std::optional<CloseReason> Call::WhyNotKept() {
    if (!m_sent || m_sendFault) {
        return CloseReason::Error;
    }
    if (!m_receiving->reader().keepAlive() || m_receiving->ended() || http1::AsksToClose(m_request.fields) ||
        http1::AsksToClose(m_added)) {
        return CloseReason::Server;
    }
    if (m_receiving->surplus() || m_connection->channel.Buffered()) {
        return CloseReason::Surplus;
    }
    return std::nullopt;
}

void Call::GiveConnectionBack(net::Time now) {
    if (const auto reason = WhyNotKept()) {
        return CloseConnection(*reason);
    }
    m_connection->channel.WakeAt(1);
    if (const auto timeout = m_receiving->reader().keepAliveTimeout()) {
        m_connection->goodFor = now + *timeout;
    }
    m_core.keeper().NeededAt(m_core.pool().Return(LetGo(), now));
}

/// Not inlined, so that what it costs can be measured by its name.
[[gnu::noinline]] void Call::CountExchange() noexcept {
    m_to->counts->sent.Add(m_sending->sent());
    m_to->counts->received.Add(m_receiving->received());
}

/// The exchange is over. @return its connection.
std::unique_ptr<Connection> Call::LetGo() noexcept {
    CountExchange();
    return std::move(m_connection);
}

/// Closes the connection, if there is one, and gives its slot back.
void Call::CloseConnection(CloseReason reason) {
    if (!m_connection && !m_hasSlot) {
        return;
    }
    if (m_connection) {
        m_connection->closing = reason;
        LetGo().reset();
    }
    m_hasSlot = false;
    m_core.pool().Free(*m_to);
}

} // namespace httpclient::engine
