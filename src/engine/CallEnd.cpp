// SPDX-License-Identifier: Apache-2.0
// The outcome of a call, and who is told of it: host, log, statistics, observer.
#include <utility>

#include "engine/Call.h"
#include "engine/CallLog.h"

namespace httpclient::engine {

CloseReason Call::ReasonBy(FailureKind kind) noexcept {
    return kind == FailureKind::Shutdown ? CloseReason::Shutdown : CloseReason::Error;
}

std::unique_ptr<Failure::Body> Call::Describe(const Fault& fault, Phase phase) const {
    auto failure = std::make_unique<Failure::Body>();
    failure->kind = fault.kind;
    failure->phase = phase;
    failure->code = fault.code;
    failure->requestSent = m_requestSent;
    failure->retryable = IsRetryable(fault.kind);
    failure->attempts = m_attempts;
    failure->times = const_cast<Response&>(m_response).internals().times;
    failure->message = DescribeFailure(*failure, fault.text);
    return failure;
}

Result Call::Take() {
    m_response.internals().times.total = m_timedSince - m_begun;
    const std::chrono::nanoseconds waited = Waited();
    if (!m_outcome) {
        m_response.internals().attempts = m_attempts;
        const Ending how = Ending::OfStatus(m_response.status());
        Result outcome(std::make_unique<Result::Body>(std::move(m_response)).release());
        LogAnswer(m_client, m_request, *outcome);
        CountEnd(how, waited);
        TellEnd(outcome, outcome->timings());
        return outcome;
    }
    std::unique_ptr<Failure::Body> failure = Describe(*m_outcome, m_outcomePhase);
    const Failure::Body& told = *failure;
    Result outcome(std::make_unique<Result::Body>(Failure(std::move(failure))).release());
    LogFailure(m_client, m_request, told);
    CountEnd(Ending::Of(told.kind), waited);
    TellEnd(outcome, told.timings);
    return outcome;
}

Result Call::TakeExhausted(std::error_code code) {
    try {
        if (code != std::errc::not_enough_memory) {
            End(FailureKind::Internal, net::Clock::now(), code);
            return Take();
        }
    } catch (const std::exception&) {
        // no memory either
    }
    LogExhaustion(m_client, m_request, m_phase, m_attempts, m_timedSince - m_begun);
    CountEnd(Ending::Of(FailureKind::Internal), Waited());
    Result outcome = OutOfMemory(m_phase, m_requestSent);
    TellEnd(outcome, outcome.failure().timings());
    return outcome;
}

/// @return how long the call waited for connections. Before the outcome takes the times along.
std::chrono::nanoseconds Call::Waited() noexcept {
    return m_response.internals().times.phases[static_cast<std::size_t>(Phase::Lease)];
}

/// Not inlined, so that what it costs can be measured by its name.
[[gnu::noinline]] void Call::CountEnd(Ending how, std::chrono::nanoseconds waited) noexcept {
    if (std::exchange(m_counted, true)) {
        return;
    }
    // In a forked child it counts for nobody: what the child has of its parent's counts is never read.
    m_to ? CountEndIn(*m_to->counts, how, waited) : CountEarlyEnd(how, waited);
}

/// Of a call that was over before it was known where it goes.
void Call::CountEarlyEnd(Ending how, std::chrono::nanoseconds waited) const noexcept {
    if (!m_core.forked()) { // the parent may have held the lock
        CountEndIn(*m_core.statistics().Of(m_client.text()), how, waited);
    }
}

void Call::CountEndIn(OriginCounts& counts, Ending how, std::chrono::nanoseconds waited) const noexcept {
    counts.durations.Count(m_timedSince - m_begun);
    if (m_attempts > 0 || m_phase == Phase::Lease) {
        counts.leases.Count(waited);
    }
    counts.Route(m_request.method, m_request.label).endings[how.index()].Add();
}

void Call::TellStart() {
    if (m_core.observer() == nullptr) {
        return;
    }
    m_seen = std::make_unique<CallView::Body>();
    m_seen->method = m_request.method;
    m_seen->target = PathOf(m_request.target);
    m_seen->origin = &m_client.text();
    m_seen->label = &m_request.label;
    m_seen->timings = &m_response.timings();
    m_seen->fields = &m_added;
    Tell(m_core, Event::Start, *m_seen);
    m_seen->fields = nullptr;
    m_forked = m_core.forked();
}

/// The attempt under way, if there is one, is over.
void Call::EndAttempt() noexcept {
    m_attemptToTell = std::exchange(m_inAttempt, false) && m_seen;
}

void Call::TellAttempt() {
    m_attemptToTell = false;
    const Fault* const fault = m_outcome ? &*m_outcome : m_retried ? &*m_retried : nullptr;
    m_response.internals().times.total = m_timedSince - m_begun;
    const Failure failure(fault != nullptr ? Describe(*fault, m_phase) : nullptr);
    m_seen->attempt = m_attempts;
    m_seen->status = fault != nullptr ? 0 : m_response.status();
    m_seen->failure = fault != nullptr ? &failure : nullptr;
    Tell(m_core, Event::Attempt, *m_seen);
    m_seen->failure = nullptr;
    m_retried.reset();
    m_forked = m_forked || m_core.forked();
}

void Call::TellEnd(const Result& outcome, const Timings& timings) {
    if (!m_seen) {
        return;
    }
    m_seen->attempt = m_attempts;
    m_seen->status = outcome ? outcome->status() : 0;
    m_seen->failure = outcome ? nullptr : &outcome.failure();
    m_seen->timings = &timings;
    Tell(m_core, Event::End, *m_seen);
    m_seen.reset();
}

} // namespace httpclient::engine
