// SPDX-License-Identifier: Apache-2.0
#include "engine/Loop.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>

#include "support/Cancellation.h"
#include "support/SignalBlock.h"

namespace httpclient::engine {

namespace {

/// An event base that takes no environment variables and no locks: only its own thread touches it.
event_base* MakeBase() {
    const std::unique_ptr<event_config, void (*)(event_config*)> config(event_config_new(),
                                                                        &event_config_free);
    if (!config) {
        throw std::bad_alloc();
    }
    event_config_set_flag(config.get(), EVENT_BASE_FLAG_NOLOCK | EVENT_BASE_FLAG_IGNORE_ENV |
                                            EVENT_BASE_FLAG_NO_CACHE_TIME);
    event_base* base = event_base_new_with_config(config.get());
    if (base == nullptr) {
        throw std::system_error(errno, std::generic_category(), "event_base_new");
    }
    return base;
}

timeval TimevalOf(std::chrono::nanoseconds time) {
    const auto micros =
        std::chrono::ceil<std::chrono::microseconds>(std::max(time, std::chrono::nanoseconds(0)));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(micros);
    return {static_cast<time_t>(seconds.count()), static_cast<suseconds_t>((micros - seconds).count())};
}

/// So many calls are advanced before deadlines are looked at again: a few milliseconds at most.
constexpr std::size_t MOST_IN_A_TURN = 64;

/// The loop whose thread this is.
thread_local const void* t_loop = nullptr;

void OnTimer(int /*fd*/, short /*what*/, void* /*loop*/) {
    // Waking is all that it is for: what is due is found by its time.
}

void OnWake(int /*fd*/, short /*what*/, void* /*loop*/) {
    // Waking is all that it is for, too: what is new stands in the lists.
}

} // namespace

Loop::Loop() : m_base(MakeBase()), m_wake(net::MakeEvent()), m_scratch(new char[SCRATCH]) {
    // By edges: each writing wakes, and the counter need not be read.
    event_assign(&m_wakeEvent, m_base.get(), m_wake.get(), EV_READ | EV_PERSIST | EV_ET, &OnWake, this);
    event_assign(&m_timer, m_base.get(), -1, 0, &OnTimer, this);
    // The timer is set once, so that its memory is there: a deadline must not be lost when there is none left.
    const timeval someTime{1, 0};
    if (event_add(&m_wakeEvent, nullptr) != 0 || event_add(&m_timer, &someTime) != 0) {
        throw std::bad_alloc();
    }
    event_del(&m_timer);
}

Loop::~Loop() {
    if (m_base) { // its thread could not be started
        Release();
    }
}

void Loop::Start() {
    const SignalBlock block;
    const std::lock_guard<std::mutex> lock(m_lock);
    m_thread = std::thread([self = shared_from_this()] { self->Run(); });
    m_over = false;
}

bool Loop::isThisThread() const noexcept {
    return t_loop == this;
}

void Loop::Run() {
    t_loop = this;
    while (!HasEnded()) {
        Turn(net::Time::max());
    }
    while (NextReady()) { // woken after their end
    }
    Release();
}

/// An engine that has ended may be kept for long, for those who have just looked it up; what it held is not.
void Loop::Release() noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    event_del(&m_timer);
    event_del(&m_wakeEvent);
    m_base.reset();
    m_scratch.reset();
    m_wake.Reset();
}

/// @return whether the thread may go. It does not touch the engine from then on.
bool Loop::HasEnded() noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_over = m_stopped && m_calls.load() == 0;
    if (m_over) {
        m_hasEnded.NotifyAll();
    }
    return m_over;
}

void Loop::Stop(bool wait) noexcept {
    std::unique_lock<std::mutex> lock(m_lock);
    m_stopped = true;
    WakeUp();
    if (!wait) {
        return;
    }
    std::thread thread = std::move(m_thread); // one joins it, the others wait
    while (!thread.joinable() && !m_over) {
        m_hasEnded.Wait(lock, net::Time::max());
    }
    lock.unlock();
    if (thread.joinable()) {
        thread.join();
    }
}

void Loop::Detach() noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_thread.joinable()) {
        m_thread.detach();
    }
}

void Loop::Interrupt() noexcept {
    m_lookAtAll.store(true);
    const std::lock_guard<std::mutex> lock(m_lock);
    WakeUp();
}

/// Under the lock, for the thread may end meanwhile.
void Loop::WakeUp() noexcept {
    if (m_wake) {
        const CancellationBlock
            block; // writing is a cancellation point, and nothing that wakes may be unwound
        static_cast<void>(eventfd_write(m_wake.get(), 1)); // its counter is never full
    }
}

void Loop::Add(std::shared_ptr<AsyncCall> call) noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    Append(m_fresh, std::move(call));
}

void Loop::AddReady(std::shared_ptr<AsyncCall> call) noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_over) { // a waking may come after the call's end
        Append(m_ready, std::move(call));
    }
}

/// Under the lock.
void Loop::Append(Ready& to, std::shared_ptr<AsyncCall> call) noexcept {
    to.push_back(*call);
    AsyncCall& place = *call;
    place.m_readySelf = std::move(call);
    if (std::exchange(m_asleep, false) && !isThisThread()) {
        WakeUp();
    }
}

/// The deadlines of calls that have just begun are known before the first of them is advanced: that may take longer
/// than the last of them has.
void Loop::FileFresh() noexcept {
    Ready fresh;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        fresh.swap(m_fresh);
    }
    if (fresh.empty()) {
        return;
    }
    for (AsyncCall& call : fresh) {
        File(call, call.deadline());
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    m_ready.splice(m_ready.end(), fresh);
}

std::shared_ptr<AsyncCall> Loop::NextReady() noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_ready.empty()) {
        return nullptr;
    }
    AsyncCall& first = m_ready.front();
    m_ready.pop_front();
    first.m_isReady.store(false);
    return std::move(first.m_readySelf);
}

void Loop::File(AsyncCall& call, net::Time due) noexcept {
    if (call.m_ofDeadlines.is_linked()) {
        if (call.m_due == due) {
            return;
        }
        Unfile(call);
    }
    call.m_due = due;
    m_deadlines.insert(m_deadlines.end(),
                       call); // the last, where all have the same time-out: nothing is looked through
}

void Loop::Unfile(AsyncCall& call) noexcept {
    if (call.m_ofDeadlines.is_linked()) {
        m_deadlines.erase(m_deadlines.iterator_to(call));
    }
}

/// Waits in libevent, with the one timer set to the earliest deadline.
void Loop::WaitForNews(net::Time until) noexcept {
    bool ready = false;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        ready = !m_fresh.empty() || !m_ready.empty() || (m_stopped && m_calls.load() == 0);
        m_asleep = !ready;
    }
    const net::Time earliest = m_deadlines.empty() ? until : std::min(until, m_deadlines.begin()->due());
    if (!ready && earliest != m_timerAt) {
        m_timerAt = earliest;
        if (earliest == net::Time::max()) {
            event_del(&m_timer);
        } else {
            const timeval left = TimevalOf(earliest - net::Clock::now());
            event_add(&m_timer, &left);
        }
    }
    event_base_loop(m_base.get(), ready ? EVLOOP_ONCE | EVLOOP_NONBLOCK : EVLOOP_ONCE);
    if (event_pending(&m_timer, EV_TIMEOUT, nullptr) == 0) {
        m_timerAt = net::Time::max();
    }
}

void Loop::ReadyThoseDue(net::Time now) noexcept {
    const bool all = m_lookAtAll.exchange(false);
    for (auto next = m_deadlines.begin(); next != m_deadlines.end() && (all || next->due() <= now);) {
        AsyncCall& call = *next++;
        call.Wake();
        if (call.due() <= now) {
            Unfile(call);
            BringForward(call);
        }
    }
}

/// What is due goes before all that is only ready: thousands may be.
void Loop::BringForward(AsyncCall& call) noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (call.m_ofReady.is_linked()) {
        m_ready.splice(m_ready.begin(), m_ready, m_ready.iterator_to(call));
    }
}

void Loop::Turn(net::Time until) {
    WaitForNews(until);
    FileFresh();
    ReadyThoseDue(net::Clock::now());
    std::size_t count = 0;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        count = std::min(m_ready.size(), MOST_IN_A_TURN);
    }
    // Those that become ready meanwhile wait for the next turn, so that readiness and deadlines are looked at in between.
    for (; count > 0; --count) {
        const std::shared_ptr<AsyncCall> call = NextReady();
        if (!call) {
            return;
        }
        call->Advance({m_scratch.get(), SCRATCH});
    }
}

} // namespace httpclient::engine
