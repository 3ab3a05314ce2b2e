// SPDX-License-Identifier: Apache-2.0
// The service token of a call: waiting for it, where it must not go, what becomes of it after a 403.
#include "engine/Call.h"
#include "engine/identity/Loopback.h"

namespace httpclient::engine {

namespace {

constexpr int FORBIDDEN = 403;
/// For the rest of an answer that refuses a token: it is read to its end in this time, or its connection is closed.
constexpr auto REFUSAL_TIME = std::chrono::milliseconds(250);

Fault FaultOf(const TokenRefusal& refusal) {
    if (refusal.cause == FailureKind::Shutdown) {
        return {FailureKind::Shutdown, {}, {}};
    }
    return {KindBy(refusal.code, FailureKind::Identity), refusal.code, refusal.Describe()};
}

} // namespace

/// Looks at the place before anything is connected.
bool Call::MayCarryToken() const noexcept {
    return m_to->material || m_to->nearness != Nearness::Far;
}

/// Looks at a connection to "localhost", whose address a file of this host may tell.
bool Call::MayCarryTokenOver(const Connection& connection) const noexcept {
    return m_service == nullptr || m_to->material || m_to->nearness != Nearness::Connected ||
           LeadsToLoopback(connection.channel.fd());
}

Wait Call::FailFarAway(net::Time now) {
    return Fail({FailureKind::Identity, {}, "a token goes over plain HTTP to this host only"}, now);
}

Wait Call::AskForToken(net::Time now) {
    m_phase = Phase::Token;
    Count(Phase::Token, now);
    if (!MayCarryToken()) {
        return FailFarAway(now);
    }
    return TokenGranted(m_core.tokens().Ask(*m_service, m_tokenTicket, m_waker, now), now);
}

Wait Call::LookForToken(net::Time now) {
    return TokenGranted(m_core.tokens().Look(m_tokenTicket), now);
}

Wait Call::TokenGranted(TokenStore::Answer answer, net::Time now) {
    switch (answer) {
    case TokenStore::Answer::Waiting:
        m_state = State::Token;
        return {Wait::For::Wake, {}, net::Time::max()};
    case TokenStore::Answer::Refused:
        return Fail(FaultOf(m_tokenTicket.refusal()), now);
    case TokenStore::Answer::Token:
        break;
    }
    m_token = m_tokenTicket.Take();
    m_tokenWanted = false;
    m_state = State::Ask;
    return {};
}

/// A 403 drops the very token that was sent, and the request is sent once more with another.
/// @return whether the answer is not the outcome.
bool Call::DropRefusedToken(net::Time now) {
    if (!m_token || m_tokenRefused || m_response.internals().head.status != FORBIDDEN) {
        return false;
    }
    m_core.tokens().Drop(*m_service, m_token->generation());
    m_to->counts->retries[Ending::OfStatus(FORBIDDEN).index()].Add();
    m_tokenRefused = true;
    m_tokenWanted = true;
    m_pauseEnd = now;
    m_attemptDeadline = now + REFUSAL_TIME;
    return true;
}

} // namespace httpclient::engine
