// SPDX-License-Identifier: Apache-2.0
// A call from its beginning to its connection, and its outcome. The exchange over the connection is in CallExchange.cpp,
// what concerns its token in CallIdentity.cpp.
#include "engine/Call.h"

#include <algorithm>
#include <ctime>
#include <random>
#include <utility>

#include "engine/Deadline.h"
#include "engine/RetryAfter.h"
#include "engine/identity/Configured.h"
#include "http1/GrammarError.h"
#include "identity/TokenTexts.h"
#include "support/Cleansing.h"

namespace httpclient::engine {

namespace {

constexpr std::size_t USUAL_HEAD = 512; ///< room for the head of a usual request

/// How long one dial keeps others of its line from theirs. A connection is made much sooner, unless the listener's line
/// is full: those that it dropped hold nobody up for the seconds that they take.
constexpr std::chrono::milliseconds DIAL_TURN{100};

/// A time between nothing and a bound, by chance, so that calls that failed together do not come back together.
std::chrono::nanoseconds Jittered(std::chrono::nanoseconds bound) {
    thread_local std::minstd_rand random{std::random_device{}()};
    return std::chrono::nanoseconds(
        std::uniform_int_distribution<std::chrono::nanoseconds::rep>(0, bound.count())(random));
}

} // namespace

Call::Call(Core& core, const ClientCore& client, const Request::Body& request, std::shared_ptr<Waker> waker,
           net::Time now)
    : m_core(core), m_client(client), m_request(request), m_waker(std::move(waker)), m_begun(now),
      m_timedSince(now), m_deadline(After(now, request.timeout.value_or(client.options().timeout))),
      m_response(std::make_unique<Response::Body>()) {}

Call::~Call() {
    try {
        LeavePool(net::Clock::now(), CloseReason::Error);
    } catch (...) { // GCOVR_EXCL_LINE: a lock that fails, and nothing of the pool can be given back then
    }
    if (m_state != State::Begin && !m_counted) {
        CountEnd(Ending::Of(FailureKind::Cancelled), Waited()); // its thread has ended
    }
    if (m_service != nullptr || m_request.door.secret) { // who identifies itself says secrets in its head
        memset_s(m_head.data(), m_head.size(), 0, m_head.size()); // beyond it nothing was ever written
    }
}

Wait Call::Step(net::Time now, Scratch scratch) {
    for (;;) {
        if (m_attemptToTell) {
            TellAttempt();
        }
        if (m_state == State::Done) {
            return {};
        }
        if (m_forked) {
            return Fail({FailureKind::Internal, {}, "the process forked while the call was under way"}, now);
        }
        if (m_core.ended()) {
            return Fail({FailureKind::Shutdown, {}, {}}, now);
        }
        Wait wait = Dispatch(now, scratch);
        switch (wait.what) {
        case Wait::For::Done:
            break; // the state changed: on with it, or all is done
        case Wait::For::Host:
        case Wait::For::Work:
        case Wait::For::Again:
            return wait;
        default:
            wait.until = std::min(wait.until, Due());
            return wait;
        }
    }
}

/// Does what the state asks for. @return a wait; For::Done: the state changed.
Wait Call::Dispatch(net::Time now, Scratch scratch) {
    if (m_state == State::Begin) {
        return Begin(now); // before the deadline is looked at: one that is none is refused
    }
    if (now >= Due()) {
        return TimeOut(now);
    }
    switch (m_state) {
    case State::Token:
        return LookForToken(now);
    case State::Ask:
        return Ask(now);
    case State::InLine:
        return LookInLine(now);
    case State::Dialling:
        return StepDial(now);
    case State::Exchanging:
        return StepExchange(now, scratch);
    case State::Pause:
        if (now >= m_pauseEnd) {
            m_state = State::Ask;
            return m_tokenWanted ? AskForToken(now) : Wait{};
        }
        return {Wait::For::Time, {}, m_pauseEnd};
    case State::Begin: // GCOVR_EXCL_LINE: it has begun above
    case State::Done:  // GCOVR_EXCL_LINE: it would not have come here
        break;         // GCOVR_EXCL_LINE: for none of the states
    }
    return {}; // GCOVR_EXCL_LINE: likewise
}

net::Time Call::Due() const noexcept {
    return std::min({m_deadline, m_attemptDeadline, m_connectDeadline});
}

Wait Call::TimeOut(net::Time now) {
    const Fault fault{FailureKind::Timeout, {}, {}};
    return now >= m_deadline || m_state != State::Exchanging ? Fail(fault, now) : ExchangeFailed(fault, now);
}

Wait Call::Begin(net::Time now) {
    m_client.budget().CountCall();
    if (m_request.timeout && m_request.timeout->count() <= 0) {
        return Fail({FailureKind::InvalidRequest, {}, "the time-out of the request must be above 0"}, now);
    }
    if (m_request.door.refusal != nullptr) {
        return Fail({FailureKind::InvalidRequest, {}, m_request.door.refusal}, now);
    }
    m_to = m_client.DestinationIn(m_core);
    if (m_client.options().identity == Identity::Platform) {
        m_service = ServiceOf(m_request.target, m_client.options().identityAccess);
    }
    if (const std::error_code error = WriteHead()) {
        return Fail({FailureKind::InvalidRequest, error, {}}, now);
    }
    m_state = State::Ask;
    now = net::Clock::now();
    if (now >= Due()) {
        return TimeOut(now); // it may have waited long for its loop
    }
    if (m_service == nullptr) {
        return Ask(now);
    }
    m_token = m_core.tokens().Find(*m_service, now);
    return m_token && MayCarryToken() ? Ask(now) : AskForToken(now);
}

/// Writes the request's head. The line of a token stands beside it.
std::error_code Call::WriteHead() {
    const Request::Body::Door& door = m_request.door;
    http1::RequestHead head;
    head.method = m_request.method;
    head.target = m_request.target;
    head.host = door.host.empty() ? m_to->authority : door.host;
    head.fields = &m_request.fields;
    head.added = &m_added;
    head.contentType = m_request.contentType;
    if (!door.withoutUserAgent) {
        head.userAgent = m_client.options().userAgent;
    }
    head.acceptCodings = m_client.options().decompress;
    head.acceptAll = door.acceptsAll;
    head.framing = m_request.Framing();
    if (m_service != nullptr) {
        head.keptLine = g_strTokenHeader;
    }
    m_head.reserve(USUAL_HEAD);
    return http1::WriteRequestHead(head, m_head, m_tokenPlace);
}

/// The head as it goes out: around the line of the token, if there is one.
Sending::Head Call::HeadPieces() const noexcept {
    if (!m_token) {
        return {std::string_view(), std::string_view(), m_head};
    }
    const std::string_view head = m_head;
    return {head.substr(0, m_tokenPlace), m_token->line(), head.substr(m_tokenPlace)};
}

Wait Call::Ask(net::Time now) {
    m_phase = Phase::Lease;
    Count(Phase::Lease, now);
    m_replaced = false;
    return Granted(m_core.pool().Ask(*m_to, m_ticket, m_waker, now), now);
}

Wait Call::LookInLine(net::Time now) {
    return Granted(m_core.pool().Look(m_ticket), now);
}

Wait Call::Granted(Pool::Answer answer, net::Time now) {
    switch (answer) {
    case Pool::Answer::Waiting:
        m_state = State::InLine;
        return {Wait::For::Wake, {}, net::Time::max()};
    case Pool::Answer::Overloaded:
        return Fail({FailureKind::Overloaded, {}, {}}, now);
    case Pool::Answer::Shutdown:
        return Fail({FailureKind::Shutdown, {}, {}}, now);
    case Pool::Answer::Connection:
        BeginAttempt(now);
        return TakeKept(Pool::Take(m_ticket), now);
    case Pool::Answer::Slot:
        break;
    }
    static_cast<void>(Pool::Take(m_ticket));
    m_hasSlot = true;
    m_dialTurnEnd = now + DIAL_TURN;
    BeginAttempt(now);
    return BeginDial(now);
}

/// An attempt begins when its turn has come: time spent in line is none of its own, and a time-out there would cost
/// the place.
void Call::BeginAttempt(net::Time now) noexcept {
    ++m_attempts;
    m_inAttempt = true;
    m_retried.reset();
    if (m_client.options().attemptTimeout.count() > 0) {
        m_attemptDeadline = After(now, m_client.options().attemptTimeout);
    }
}

/// The one look before a connection is used again.
bool Call::IsFit(Connection& connection) const {
    if (m_to->material) {
        const std::shared_ptr<const net::TlsContext> inUse = m_to->material->InUse();
        if (!inUse || inUse->generation() != connection.generation) {
            connection.closing = CloseReason::Age;
            return false;
        }
    }
    connection.closing = CloseReason::Server; // that is why, if it is closed now
    const bool fit = connection.channel.Quiet();
    if (fit) {
        connection.closing = CloseReason::Error;
    }
    return fit;
}

Wait Call::TakeKept(std::unique_ptr<Connection> connection, net::Time now) {
    m_hasSlot = true;
    while (connection && !IsFit(*connection)) {
        connection.reset();
        connection = m_core.pool().Instead(*m_to, now);
    }
    if (!connection) {
        return BeginDial(now);
    }
    return BeginExchange(std::move(connection), now);
}

Wait Call::BeginDial(net::Time now) {
    m_state = State::Dialling;
    m_phase = Phase::Resolve;
    Count(Phase::Resolve, now);
    m_connectDeadline = After(now, m_client.options().connectTimeout);
    m_connecting.emplace(m_core, m_to, m_waker);
    return StepDial(now);
}

Wait Call::StepDial(net::Time now) {
    const Connecting::Status status = m_connecting->Step(now);
    if (m_phase != m_connecting->phase()) {
        m_phase = m_connecting->phase();
        Count(m_phase, net::Clock::now());
    }
    if (now >= m_dialTurnEnd || m_phase == Phase::Handshake || status != Connecting::Status::Pending) {
        EndDialTurn();
    }
    switch (status) {
    case Connecting::Status::Pending: {
        Wait wait = m_connecting->wait();
        wait.until = std::min(wait.until, m_dialTurnEnd);
        return wait;
    }
    case Connecting::Status::Failed:
        return Fail(std::move(m_connecting->fault()), now);
    case Connecting::Status::Done:
        break;
    }
    now = net::Clock::now(); // the handshake may have taken its time
    std::unique_ptr<Connection> connection = m_connecting->Take();
    m_connecting.reset();
    m_connectDeadline = net::Time::max();
    return BeginExchange(std::move(connection), now);
}

/// Lets another call of its line dial.
void Call::EndDialTurn() {
    if (m_dialTurnEnd != net::Time::max()) {
        m_dialTurnEnd = net::Time::max();
        m_core.pool().Dialled(*m_to);
    }
}

void Call::RunWork(net::Time now) {
    const Core::HostCode amid(m_core); // the host's password function
    m_connecting->RunWork(now);
    m_forked = m_core.forked();
}

/// @return whether sending again can help, and cannot do twice what must be done once.
bool Call::IsRetryable(FailureKind kind) const noexcept {
    switch (kind) {
    case FailureKind::Overloaded:
    case FailureKind::Resolve:
    case FailureKind::Connect:
    case FailureKind::Identity:
        return true;
    case FailureKind::Timeout:
    case FailureKind::ConnectionLost:
        return !m_requestSent || m_request.IsIdempotent();
    default:
        return false;
    }
}

/// @return whether a retry policy sends again after such a failure of an attempt.
bool Call::PolicyRetries(FailureKind kind) const noexcept {
    switch (kind) {
    case FailureKind::Resolve:
    case FailureKind::Connect:
    case FailureKind::Timeout:
    case FailureKind::ConnectionLost:
        return IsRetryable(kind);
    default:
        return false;
    }
}

/// Decides whether the request is sent once more, and when. @return whether it is: then it will be.
bool Call::PlanRetry(Ending of, std::optional<std::chrono::seconds> retryAfter, net::Time now) {
    const RetryPolicy::Body& policy = m_client.options().retry.internals();
    if (m_tokenRefused || m_attempts >= policy.attempts || m_handedOver || m_core.ended()) {
        return false;
    }
    const std::chrono::nanoseconds longest = Bounded(policy.pauses.second);
    std::chrono::nanoseconds bound = Bounded(policy.pauses.first);
    for (int attempt = 1; attempt < m_attempts && bound < longest; ++attempt) {
        bound *= 2;
    }
    const std::chrono::nanoseconds pause = std::max<std::chrono::nanoseconds>(
        Jittered(std::min(bound, longest)), retryAfter.value_or(std::chrono::seconds(0)));
    if (pause >= m_deadline - now || !m_client.budget().Take()) {
        return false;
    }
    m_pauseEnd = now + pause;
    m_to->counts->retries[of.index()].Add();
    return true;
}

/// As PlanRetry(), for an answer whose status the policy names.
bool Call::PlanRetryOfStatus(net::Time now) {
    const http1::ResponseHead& head = m_response.internals().head;
    const RetryPolicy::Body& policy = m_client.options().retry.internals();
    if (m_attempts >= policy.attempts || !m_request.IsIdempotent() ||
        std::find(policy.statuses.begin(), policy.statuses.end(), head.status) == policy.statuses.end()) {
        return false;
    }
    const std::optional<std::string_view> after = head.find("Retry-After");
    if (!PlanRetry(Ending::OfStatus(head.status),
                   after ? ParseRetryAfter(*after, std::time(nullptr)) : std::nullopt, now)) {
        return false;
    }
    m_attemptDeadline = m_pauseEnd; // the answer is read to its end during the pause, or not at all
    return true;
}

Wait Call::SendAgain() {
    EndAttempt();
    StopCounting(net::Clock::now());
    m_attemptDeadline = net::Time::max();
    m_connectDeadline = net::Time::max();
    m_state = State::Pause;
    return {};
}

/// The end of an attempt without an answer, and of the call unless it is sent again.
Wait Call::Fail(Fault fault, net::Time now) {
    const bool over = now >= m_deadline;
    LeavePool(now, ReasonBy(fault.kind));
    if (!over && m_state != State::Begin && PolicyRetries(fault.kind) &&
        PlanRetry(Ending::Of(fault.kind), std::nullopt, now)) {
        m_retried = std::move(fault);
        return SendAgain();
    }
    EndWith(std::move(fault), now);
    return {};
}

void Call::End(FailureKind kind, net::Time now, std::error_code code) {
    if (m_state == State::Done) {
        return;
    }
    LeavePool(now, ReasonBy(kind));
    EndWith({kind, code, {}}, now);
}

void Call::EndWith(Fault fault, net::Time now) noexcept {
    m_outcomePhase = m_phase;
    m_outcome = std::move(fault);
    StopCounting(now);
    EndAttempt();
    m_state = State::Done;
}

/// Gives everything of the pool back: the place in line, the slot, the connection.
void Call::LeavePool(net::Time now, CloseReason reason) {
    if (m_core.forked()) {
        Abandon();
        return;
    }
    m_core.tokens().Leave(m_tokenTicket);
    if (m_to) {
        m_core.keeper().NeededAt(m_core.pool().Leave(*m_to, m_ticket, now));
        EndDialTurn();
    }
    m_connecting.reset();
    CloseConnection(reason);
}

/// The process forked: what there is belongs to the parent, and nothing of it may be touched. It leaks on purpose.
void Call::Abandon() noexcept {
    if (m_connection) {
        m_connection->channel.Abandon();
        static_cast<void>(m_connection.release());
    }
    if (m_connecting) {
        m_connecting->Abandon();
        m_connecting.reset();
    }
    m_hasSlot = false;
}

void Call::Count(Phase phase, net::Time now) noexcept {
    StopCounting(now);
    m_timed = phase;
}

void Call::StopCounting(net::Time now) noexcept {
    if (m_timed && now > m_timedSince) {
        m_response.internals().times.Add(*m_timed, now - m_timedSince);
    }
    m_timed.reset();
    m_timedSince = std::max(now, m_timedSince);
}

} // namespace httpclient::engine
