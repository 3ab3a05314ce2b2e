// SPDX-License-Identifier: Apache-2.0
#include "engine/AsyncCall.h"

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include <cxxabi.h>

#include <event2/event.h>

#include "engine/HostMask.h"
#include "engine/Loop.h"
#include "engine/Loops.h"
#include "engine/Outcome.h"
#include "support/Cancellation.h"
#include "support/ExitGate.h"
#include "support/SignalBlock.h"

namespace httpclient::engine {

AsyncCall::AsyncCall(std::shared_ptr<Client::Body> client, Core& core, DeliverOn where)
    : m_client(std::move(client)), m_core(core), m_where(where) {
    m_visit.emplace(m_core);
}

AsyncCall::~AsyncCall() = default;

void AsyncCall::Take(Request request, std::unique_ptr<Completion> done) {
    if (request.internals() != nullptr) {
        m_request.emplace(std::move(request));
    } else {
        m_request.emplace(Method::Get, std::string()); // was moved from: nothing, which the call refuses
    }
    m_done = std::move(done);
}

void AsyncCall::Start(Request request, std::unique_ptr<Completion> done) {
    Take(std::move(request), std::move(done));
    m_core.loops().Start();
    m_loop = &m_core.loops().Next();
    m_call.emplace(m_core, m_client->client, *m_request->internals(), shared_from_this(), net::Clock::now());
    m_call->TellStart();
    if (m_core.forked()) {
        throw std::system_error(std::make_error_code(std::errc::operation_canceled), "the observer forked");
    }
    m_self = shared_from_this();
    m_loop->Enter();
    m_isReady.store(true);
    m_loop->Add(shared_from_this());
}

void AsyncCall::Refuse(Request request, std::unique_ptr<Completion> done) {
    Take(std::move(request), std::move(done));
    const net::Time now = net::Clock::now();
    m_call.emplace(m_core, m_client->client, *m_request->internals(), shared_from_this(), now);
    m_call->TellStart();
    m_call->End(FailureKind::Shutdown, now);
    m_doing.store(Doing::Delivering);
    m_result.emplace(Outcome());
    m_call.reset();
    if (m_where == DeliverOn::Loop) {
        return Deliver();
    }
    // There is no callback thread any more, and the outcome is never handed over inside Start().
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    if (m_core.loops().started()) {
        mask = m_core.loops().hostMask();
    }
    const SignalBlock block;
    std::thread([self = shared_from_this(), mask]() mutable {
        const ExitGate::DetachedThread thread;
        std::exchange(self, nullptr)->DeliverHere(mask);
    }).detach();
}

/// Hands the outcome over on this thread, or to the executor from here.
__attribute__((no_sanitize("null"))) void AsyncCall::DeliverHere(const sigset_t& mask) {
    const HostMask hosts(mask);
    if (m_core.loops().executor()) {
        try {
            return RunExecutor([self = shared_from_this()] { self->Deliver(); });
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            return Deliver();
        }
    }
    Deliver();
}

void AsyncCall::Cancel() noexcept {
    m_cancelled.store(true);
    Wake();
}

void AsyncCall::Wake() noexcept {
    if (m_loop == nullptr || m_doing.load() == Doing::Over || m_core.forked() || m_isReady.exchange(true)) {
        return; // a forked child has no loop, and takes no lock of its parent's
    }
    m_loop->AddReady(shared_from_this());
}

void AsyncCall::OnEvent(int /*fd*/, short /*what*/, void* self) {
    static_cast<AsyncCall*>(self)->Wake();
}

/// Registers for readiness, once.
bool AsyncCall::Watch(event& place, const pollfd& what) noexcept {
    const int events =
        ((what.events & POLLIN) != 0 ? EV_READ : 0) | ((what.events & POLLOUT) != 0 ? EV_WRITE : 0);
    event_assign(&place, m_loop->base(), what.fd, static_cast<short>(events), &AsyncCall::OnEvent, this);
    errno = ENOMEM; // where libevent has no memory, nobody sets it
    return event_add(&place, nullptr) == 0;
}

bool AsyncCall::WatchDial(const std::vector<pollfd>& watched) {
    for (std::size_t index = 0; index < watched.size(); ++index) {
        if (index > 0) {
            m_dialEvents.push_back(std::make_unique<event>());
        }
        if (!Watch(index == 0 ? m_event : *m_dialEvents.back(), watched[index])) {
            return false;
        }
    }
    return true;
}

/// A descriptor leaves the loop before anything may close it.
void AsyncCall::Disarm() noexcept {
    if (event_initialized(&m_event) != 0) {
        event_del(&m_event);
    }
    for (const std::unique_ptr<event>& extra : m_dialEvents) {
        if (event_initialized(extra.get()) != 0) {
            event_del(extra.get());
        }
    }
    m_dialEvents.clear();
}

void AsyncCall::WaitUntil(net::Time until) noexcept {
    m_loop->File(*this, until);
}

void AsyncCall::Advance(Scratch scratch) {
    const Doing doing = m_doing.load();
    if (doing == Doing::Delivering || doing == Doing::Over || (doing != Doing::Stepping && !TakeBack())) {
        return;
    }
    if (m_advancing) { // the observer, told amid it, has the loop turn meanwhile
        m_advanceAgain = true;
        return;
    }
    m_advancing = true;
    Go(scratch);
    m_advancing = false;
    if (std::exchange(m_advanceAgain, false)) {
        Wake();
    }
}

void AsyncCall::Go(Scratch scratch) {
    Disarm();
    const net::Time now = net::Clock::now();
    try {
        if (m_exhausted.load()) {
            m_call->End(FailureKind::Internal, now, std::make_error_code(std::errc::not_enough_memory));
        } else if (m_cancelled.load()) {
            m_call->End(FailureKind::Cancelled, now);
        }
        Follow(m_call->Step(now, scratch));
    } catch (...) {
        m_call->End(FailureKind::Internal, now, CodeOfCaught());
        Disarm();
        Finish();
    }
}

/// @return whether the call has to end: a piece of host code that has not begun by then is not begun any more.
bool AsyncCall::TooLateToBegin() const noexcept {
    return m_cancelled.load() || m_core.ended() || net::Clock::now() >= m_handedOverDue;
}

/// Takes back what has not begun and is too late. @return whether the call is the loop's again.
bool AsyncCall::TakeBack() noexcept {
    Doing doing = m_doing.load();
    if (doing == Doing::Running || !TooLateToBegin()) {
        return false;
    }
    Loops& loops = m_core.loops();
    const bool queued = doing == Doing::Work || !loops.executor();
    if (queued && !loops.JobsFor(doing == Doing::Work).Withdraw(*this)) {
        return false;
    }
    return m_doing.compare_exchange_strong(doing, Doing::Stepping);
}

void AsyncCall::Follow(const Wait& wait) {
    bool watched = true;
    switch (wait.what) {
    case Wait::For::Done:
        return Finish();
    case Wait::For::Again:
        return Wake();
    case Wait::For::Host:
        return HandOver(Doing::Host);
    case Wait::For::Work:
        return HandOver(Doing::Work);
    case Wait::For::Io:
        watched = Watch(m_event, wait.io);
        break;
    case Wait::For::Dial:
        watched = WatchDial(m_call->watched());
        break;
    case Wait::For::Wake:
    case Wait::For::Time:
        break;
    }
    if (!watched) {
        throw std::system_error(errno, std::generic_category(), "event_add");
    }
    WaitUntil(wait.until);
}

__attribute__((no_sanitize("null"))) void AsyncCall::HandOver(Doing what) {
    m_call->Preserve(); // the loop's memory is used for others meanwhile
    m_handedOverDue = m_call->due();
    WaitUntil(m_handedOverDue);
    m_doing.store(what);
    Loops& loops = m_core.loops();
    if (what == Doing::Work || !loops.executor()) {
        if (!loops.JobsFor(what == Doing::Work).Add(shared_from_this())) {
            RunPieceHere(what);
        }
        return;
    }
    try {
        HandToExecutor([self = shared_from_this(), what] { self->RunPiece(what); });
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        RunPieceHere(what); // what the executor does not take, the loop runs itself
    }
}

/// The executor is the host's, and may run its code at once.
void AsyncCall::HandToExecutor(const std::function<void()>& run) {
    const HostMask mask(m_core.loops().hostMask());
    RunExecutor(run);
}

__attribute__((no_sanitize("null"))) void AsyncCall::RunExecutor(const std::function<void()>& run) {
    try {
        m_core.loops().executor()(run);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        m_core.statistics().CountHostError(HostCodeKind::Executor);
        throw;
    }
}

void AsyncCall::RunPieceHere(Doing what) {
    const HostMask mask(m_core.loops().hostMask());
    RunPiece(what);
}

void AsyncCall::Run() {
    const Doing doing = m_doing.load();
    if (doing == Doing::Delivering) {
        Deliver();
    } else {
        RunPiece(doing);
    }
}

/// Runs what may block, on another thread than the loop's, and gives the call back to the loop.
void AsyncCall::RunPiece(Doing what) {
    /// However it ends: code of the host may end its thread.
    struct GiveBack {
        AsyncCall& call;
        bool whole = false;
        ~GiveBack() {
            if (!whole) {
                call.m_cancelled.store(true);
            }
            call.m_doing.store(Doing::Stepping);
            call.Wake();
        }
    };
    Doing expected = what;
    if (!m_doing.compare_exchange_strong(expected, Doing::Running)) {
        return; // taken back, or run before
    }
    GiveBack giveBack{*this};
    if (TooLateToBegin()) { // and the loop has not come to take it back yet
        giveBack.whole = true;
        return;
    }
    // What is thrown here is want of memory; what the host's code throws stays with it.
    if (!Contained([&] { what == Doing::Host ? m_call->RunHost() : m_call->RunWork(net::Clock::now()); })) {
        m_exhausted.store(true);
    }
    giveBack.whole = true;
}

__attribute__((no_sanitize("null"))) Result AsyncCall::Outcome() {
    std::error_code code;
    try {
        return m_call->Take();
    } catch (abi::__forced_unwind&) {
        throw; // the observer ends the thread
    } catch (...) {
        code = CodeOfCaught();
    }
    return m_call->TakeExhausted(code);
}

/// The outcome is there: all that is the engine's is given back before the host learns of it.
void AsyncCall::Finish() {
    Loop& loop = *m_loop;
    loop.Unfile(*this);
    m_doing.store(Doing::Delivering);
    m_result.emplace(Outcome());
    m_call.reset();
    HandOverOutcome();
    loop.Leave(); // kept until here by the call, and it by the turn
}

void AsyncCall::HandOverOutcome() {
    const std::shared_ptr<AsyncCall> self = shared_from_this();
    Loops& loops = m_core.loops();
    if (m_where == DeliverOn::Loop) {
        m_visit.reset();
        return Deliver();
    }
    m_visit->Over();
    if (!loops.executor() && loops.JobsFor(false).Add(self)) {
        m_visit.reset(); // last: callback threads end when no call is under way and nothing is queued
        return;
    }
    m_visit.reset();
    try {
        if (loops.executor()) {
            return HandToExecutor([self] { self->Deliver(); });
        }
    } catch (...) {
        // what the executor does not take, the loop runs itself
    }
    const HostMask mask(loops.hostMask());
    Deliver();
}

/// Calls the host's function, once.
__attribute__((no_sanitize("null"))) void AsyncCall::Deliver() {
    if (m_doing.exchange(Doing::Over) != Doing::Delivering) {
        return; // an executor that threw after it had run it
    }
    const std::shared_ptr<AsyncCall> self = std::move(m_self);
    const std::unique_ptr<Completion> done = std::move(m_done);
    try {
        done->Complete(std::move(*m_result));
    } catch (abi::__forced_unwind&) {
        throw; // the host ends its thread
    } catch (...) {
        m_core.statistics().CountHostError(HostCodeKind::Callback); // and stays with it
    }
}

} // namespace httpclient::engine
