// SPDX-License-Identifier: Apache-2.0
/// @file
/// One call from its beginning to its outcome, as a state machine.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <httpclient/Result.h>

#include "engine/ClientCore.h"
#include "engine/Connecting.h"
#include "engine/Core.h"
#include "engine/Observation.h"
#include "engine/Outcome.h"
#include "engine/Receiving.h"
#include "engine/RequestBody.h"
#include "engine/Sending.h"
#include "engine/Wait.h"

namespace httpclient::engine {

/// A call: its line in the pool, its connection, its exchange, its repetitions. It owns no thread and waits for
/// nothing: a driver steps it, and waits for what Step() says.
///
/// Whatever the driver does, the destructor leaves the pool's counts right.
///
/// @par Thread Safety
/// One thread at a time.
class Call {
public:
    /// @param core must outlive the call. @param client likewise. @param request likewise.
    Call(Core& core, const ClientCore& client, const Request::Body& request, std::shared_ptr<Waker> waker,
         net::Time now);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Tells the observer, if there is one, that the call begins. Before the first Step(), on the thread that makes it.
    void TellStart();
    /// Goes as far as it can without waiting. @param scratch used until it returns.
    Wait Step(net::Time now, Scratch scratch);
    /// Runs the piece of host code that Step() waits for. @throw only what cancels the thread.
    void RunHost();
    /// Does the blocking work that Step() waits for.
    void RunWork(net::Time now);
    /// The descriptors of a wait for a dial.
    std::vector<pollfd>& watched() noexcept { return m_connecting->watched(); }

    /// @return when the call, or what it does just now, has to be over.
    net::Time due() const noexcept { return Due(); }
    /// To be called when the scratch memory is used for something else before the host code runs that Step() waits for.
    void Preserve() {
        if (m_receiving) {
            m_receiving->Preserve();
        }
    }
    /// Ends the call from outside; nothing happens after the outcome.
    void End(FailureKind kind, net::Time now, std::error_code code = {});
    /// After Done: the outcome. @throw std::bad_alloc
    Result Take();
    /// In place of all further steps: the outcome of a call that a resource was refused to. Needs no memory where that
    /// was memory. @param code the resource, as CodeOfCaught() has it. @throw only what ends the thread.
    Result TakeExhausted(std::error_code code);

private:
    enum class State { Begin, Token, Ask, InLine, Dialling, Exchanging, Pause, Done };
    enum class HostPiece { None, Source, Head, Piece };

    Wait Dispatch(net::Time now, Scratch scratch);
    Wait Begin(net::Time now);
    std::error_code WriteHead();
    Sending::Head HeadPieces() const noexcept;
    bool MayCarryToken() const noexcept;
    bool MayCarryTokenOver(const Connection& connection) const noexcept;
    Wait FailFarAway(net::Time now);
    Wait AskForToken(net::Time now);
    Wait LookForToken(net::Time now);
    Wait TokenGranted(TokenStore::Answer answer, net::Time now);
    bool DropRefusedToken(net::Time now);
    Wait Ask(net::Time now);
    Wait LookInLine(net::Time now);
    Wait Granted(Pool::Answer answer, net::Time now);
    Wait TakeKept(std::unique_ptr<Connection> connection, net::Time now);
    bool IsFit(Connection& connection) const;
    void BeginAttempt(net::Time now) noexcept;
    Wait BeginDial(net::Time now);
    Wait StepDial(net::Time now);
    void EndDialTurn();
    Wait BeginExchange(std::unique_ptr<Connection> connection, net::Time now);
    Wait StepExchange(net::Time now, Scratch scratch);
    bool IsSending() const noexcept;
    bool StepSending(net::Time now, Wait& wait);
    bool StepReceiving(net::Time now, Scratch scratch, Wait& wait);
    Fault& WorseFault() noexcept;
    bool SeeHead(net::Time now, Wait& wait);
    void ChooseBody();
    Wait ExchangeEnded(net::Time now);
    Wait ExchangeFailed(Fault fault, net::Time now);
    Wait Host(HostPiece piece);
    bool SeeByHost();
    bool HandOverByHost();

    bool PlanRetry(Ending of, std::optional<std::chrono::seconds> retryAfter, net::Time now);
    bool PlanRetryOfStatus(net::Time now);
    Wait SendAgain();
    bool MayReplace(const Fault& fault) const noexcept;
    bool IsRetryable(FailureKind kind) const noexcept;
    bool PolicyRetries(FailureKind kind) const noexcept;

    Wait TimeOut(net::Time now);
    Wait Fail(Fault fault, net::Time now);
    void EndWith(Fault fault, net::Time now) noexcept;
    std::optional<CloseReason> WhyNotKept();
    void CountExchange() noexcept;
    std::unique_ptr<Connection> LetGo() noexcept;
    void GiveConnectionBack(net::Time now);
    void CloseConnection(CloseReason reason);
    static CloseReason ReasonBy(FailureKind kind) noexcept;
    void LeavePool(net::Time now, CloseReason reason);
    void Abandon() noexcept;
    void Count(Phase phase, net::Time now) noexcept;
    void StopCounting(net::Time now) noexcept;
    net::Time Due() const noexcept;

    std::unique_ptr<Failure::Body> Describe(const Fault& fault, Phase phase) const;
    void EndAttempt() noexcept;
    void TellAttempt();
    void TellEnd(const Result& outcome, const Timings& timings);
    std::chrono::nanoseconds Waited() noexcept;
    void CountEnd(Ending how, std::chrono::nanoseconds waited) noexcept;
    void CountEarlyEnd(Ending how, std::chrono::nanoseconds waited) const noexcept;
    void CountEndIn(OriginCounts& counts, Ending how, std::chrono::nanoseconds waited) const noexcept;

    Core& m_core;
    const ClientCore& m_client;
    const Request::Body& m_request;
    std::shared_ptr<Waker> m_waker;
    std::shared_ptr<Destination> m_to;

    State m_state = State::Begin;
    Phase m_phase = Phase::Prepare;                ///< where a failure happens
    std::optional<Phase> m_timed = Phase::Prepare; ///< what the time is counted for; nothing during a pause
    net::Time m_begun;
    net::Time m_timedSince;
    net::Time m_deadline; ///< of the call
    net::Time m_attemptDeadline = net::Time::max();
    net::Time m_connectDeadline = net::Time::max();
    net::Time m_pauseEnd{};
    int m_attempts = 0;
    bool m_replaced = false;    ///< a dead kept connection was, in this attempt
    bool m_requestSent = false; ///< of any attempt
    bool m_handedOver = false;  ///< the host has seen the answer's head, or a piece of its body
    bool m_forked = false;      ///< while host code ran

    std::unique_ptr<CallView::Body> m_seen; ///< where there is an observer, and it was told of the call
    std::vector<http1::Field> m_added;      ///< fields beside the request's own
    bool m_inAttempt = false;
    bool m_attemptToTell = false;   ///< it is over, and the observer is not told yet
    std::optional<Fault> m_retried; ///< of the attempt to be told of, where another follows
    bool m_counted = false;

    const std::string* m_service = nullptr; ///< whose token the request carries; null: none
    TokenStore::Ticket m_tokenTicket;
    std::shared_ptr<const Token> m_token; ///< that goes with the head; null: there is none
    bool m_tokenWanted = false;           ///< another one, before the request is sent again
    bool m_tokenRefused = false;          ///< by a 403: the second try is the outcome

    std::string m_head;           ///< of the request, as bytes, without the line of the token
    std::size_t m_tokenPlace = 0; ///< of that line in it
    Ticket m_ticket;
    bool m_hasSlot = false;                     ///< without a connection
    net::Time m_dialTurnEnd = net::Time::max(); ///< while others of the line may have to wait for its dial
    std::optional<Connecting> m_connecting;
    std::unique_ptr<Connection> m_connection;
    std::optional<Sending> m_sending;
    bool m_sent = false;              ///< the whole request
    std::optional<Fault> m_sendFault; ///< writing failed; what has arrived is read first
    std::optional<Receiving> m_receiving;
    bool m_headSeen = false; ///< the final one
    bool m_draining = false; ///< the answer will not be the outcome
    std::string m_drained;
    HostPiece m_hostPiece = HostPiece::None;
    std::optional<Fault> m_hostFault;

    Response m_response;
    std::optional<Fault> m_outcome; ///< of a failure
    Phase m_outcomePhase = Phase::Prepare;
};

} // namespace httpclient::engine
