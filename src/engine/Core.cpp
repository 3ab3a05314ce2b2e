// SPDX-License-Identifier: Apache-2.0
#include "engine/Core.h"

#include <algorithm>
#include <utility>

#include <sys/eventfd.h>

#include "engine/Deadline.h"
#include "engine/Fork.h"
#include "engine/Loops.h"
#include "engine/Options.h"
#include "http1/HeadParser.h"
#include "support/Cancellation.h"

namespace httpclient::engine {

namespace {

constexpr std::uint64_t CLOSED = std::uint64_t{1} << 63;
constexpr std::uint64_t OVER = std::uint64_t{1} << 32; ///< one call that is
constexpr auto LOOK_AGAIN =
    std::chrono::milliseconds(10); ///< for calls on other threads, where nothing tells
constexpr auto MATERIAL_INTERVAL = std::chrono::seconds(1);

/// The innermost piece of host code that a call runs on this thread.
thread_local const Core::HostCode* t_hostCode = nullptr;

PoolLimits LimitsOf(const EngineOptions::Body& options) {
    return {options.maxConnections.first, options.maxConnections.second, options.maxWaiting,
            options.idleTimeout, options.maxAge};
}

} // namespace

Core::Core(const EngineOptions::Body& options, std::shared_ptr<Statistics> counts)
    : m_statistics(std::move(counts)), m_observer(options.observer), m_epoch(ForkEpoch()),
      m_end(net::MakeEvent()), m_pool(LimitsOf(options)), m_resolver(options.nameLifetime),
      m_keeper([this](net::Time now) { return Look(now); }), m_tokens(*this),
      m_loops(std::make_unique<Loops>(options)) {
    MakeBetweenForks(&http1::MakeFieldTable);
}

Core::~Core() {
    Shutdown(std::chrono::milliseconds(0));
}

bool Core::forked() const noexcept {
    return m_epoch != ForkEpoch();
}

/// What the keeper does: closes what is due, renews tokens, and looks for changed files.
net::Time Core::Look(net::Time now) {
    net::Time next = std::min(m_pool.Sweep(now), m_tokens.Renew(now));
    for (const auto& destination : m_pool.WithMaterial()) {
        if (destination->material->Refresh(now)) {
            m_pool.CloseIdleOf(*destination); // made with what is no longer in use
        }
        next = std::min(next, now + MATERIAL_INTERVAL);
    }
    return next;
}

/// A call that is refused is never counted: who waits for the others would see it, and be told of no end of it.
Core::Visit::Visit(Core& core) noexcept : m_core(&core) {
    std::uint64_t calls = core.m_calls.load(std::memory_order_relaxed);
    do {
        if ((calls & CLOSED) != 0) {
            m_core = nullptr;
            return;
        }
    } while (!core.m_calls.compare_exchange_weak(calls, calls + 1));
}

void Core::Visit::Over() noexcept {
    if (m_core != nullptr) {
        m_over = true;
        m_core->m_calls.fetch_add(OVER - 1);
    }
}

Core::Visit::~Visit() {
    if (m_core == nullptr || m_core->forked()) {
        return;
    }
    if ((m_core->m_calls.fetch_sub(m_over ? OVER : 1) & CLOSED) != 0) {
        const std::lock_guard<std::mutex> lock(m_core->m_lock);
        m_core->m_left.NotifyAll();
    }
}

Core::Parked::Parked(Core& core, Parker& parker) : m_core(core), m_parker(parker) {
    const std::lock_guard<std::mutex> lock(core.m_lock);
    core.m_parked.push_back(*this);
}

Core::Parked::~Parked() {
    const std::lock_guard<std::mutex> lock(m_core.m_lock);
    m_core.m_parked.erase(m_core.m_parked.iterator_to(*this));
}

Core::HostCode::HostCode(const Core& core) noexcept : m_core(core), m_outer(t_hostCode) {
    t_hostCode = this;
}

Core::HostCode::~HostCode() {
    t_hostCode = m_outer;
}

/// @return how many calls of a core this thread is amid: what runs on it cannot wait for them.
std::uint64_t Core::HostCode::CallsOn(const Core& core) noexcept {
    std::uint64_t count = 0;
    for (const HostCode* code = t_hostCode; code != nullptr; code = code->m_outer) {
        count += &code->m_core == &core ? 1 : 0;
    }
    return count;
}

bool Core::WaitForCalls(net::Time until) {
    const std::uint64_t own = HostCode::CallsOn(*this);
    std::unique_lock<std::mutex> lock(m_lock);
    // Calls whose host code ends the engine, on several threads at once, do not wait for each other.
    m_waitThemselves += own;
    if (own != 0) {
        m_left.NotifyAll();
    }
    bool left = true;
    const std::uint64_t none = 0;
    Loop* const loop = m_loops->OfThisThread();
    while (left && (m_calls.load() & ~CLOSED) > (own == 0 ? none : m_waitThemselves)) {
        const net::Time now = net::Clock::now();
        left = now < until;
        if (left && loop != nullptr) {
            // An executor runs the host's code on the loop, which has to go on with the other calls meanwhile.
            lock.unlock();
            loop->Turn(std::min(until, now + LOOK_AGAIN));
            lock.lock();
        } else if (left) {
            m_left.Wait(lock, until);
        }
    }
    m_waitThemselves -= own;
    return left || m_calls.load() % OVER <= own;
}

void Core::EndCalls() {
    m_ended = true;
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_end) {
        static_cast<void>(eventfd_write(m_end.get(), 1)); // cannot fail: it is written once or twice
    }
    for (Parked& parked : m_parked) {
        parked.m_parker.Wake();
    }
    m_loops->Interrupt();
}

bool Core::Shutdown(std::chrono::milliseconds grace) {
    const CancellationBlock block;
    m_calls.fetch_or(CLOSED);
    const bool inTime = WaitForCalls(After(net::Clock::now(), grace));
    EndCalls();
    m_pool.Close(); // ends those that wait in line
    WaitForCalls(net::Time::max());
    m_tokens.Stop();
    m_pool.Close(); // what they gave back
    m_keeper.Stop();
    m_pool.DropMaterial(); // a life that has ended may be kept for as long as the process
    m_loops->Stop(HostCode::CallsOn(*this) == 0);
    m_resolver.Stop();
    CloseEnd();
    return inTime && HostCode::CallsOn(*this) == 0; // a call whose host code ends the engine is ended itself
}

/// Nobody waits for it any more, but for calls of this very thread, which see that all is over before they wait.
void Core::CloseEnd() {
    const std::lock_guard<std::mutex> lock(m_lock);
    if ((m_calls.load() & ~CLOSED) == HostCode::CallsOn(*this)) {
        m_end.Reset();
    }
}

} // namespace httpclient::engine
