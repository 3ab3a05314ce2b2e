// SPDX-License-Identifier: Apache-2.0
#include "engine/Keeper.h"

#include "support/Cancellation.h"
#include "support/SignalBlock.h"

namespace httpclient::engine {

namespace {

/// The keeper whose thread this is.
thread_local const Keeper* t_keeper = nullptr;

} // namespace

void Keeper::NeededAt(net::Time time) noexcept {
    if (time.time_since_epoch().count() >= m_next.load(std::memory_order_relaxed)) {
        return;
    }
    try {
        Begin(time);
    } catch (...) {
        return; // no thread to be had: whoever takes an idle connection looks at its age himself
    }
}

void Keeper::Begin(net::Time time) {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_stopped) {
        return;
    }
    if (!m_thread.joinable()) {
        const SignalBlock block;
        m_thread = std::thread([this] { Run(); });
    }
    if (time.time_since_epoch().count() < m_next.load(std::memory_order_relaxed)) {
        m_next.store(time.time_since_epoch().count(), std::memory_order_relaxed);
        m_changed.NotifyAll();
    }
}

void Keeper::Run() {
    t_keeper = this;
    const CancellationBlock block;
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_stopped) {
        const net::Time next{net::Time::duration{m_next.load(std::memory_order_relaxed)}};
        const net::Time now = net::Clock::now();
        if (now < next) {
            m_changed.Wait(lock, next);
            continue;
        }
        m_next.store(net::Time::max().time_since_epoch().count(), std::memory_order_relaxed);
        lock.unlock();
        net::Time wanted = net::Time::max();
        try {
            wanted = m_work(now);
        } catch (...) {
            wanted = now + std::chrono::seconds(1); // memory is exhausted: once more, later
        }
        lock.lock();
        if (wanted.time_since_epoch().count() < m_next.load(std::memory_order_relaxed)) {
            m_next.store(wanted.time_since_epoch().count(), std::memory_order_relaxed);
        }
    }
}

void Keeper::Stop() noexcept {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopped = true;
        m_changed.NotifyAll();
    }
    std::unique_lock<std::mutex> ending(m_ending, std::defer_lock);
    if (t_keeper == this) {
        // Code of the host that the work calls (a key's password) ends the engine; another thread may be waiting.
        if (ending.try_lock() && m_thread.joinable()) {
            m_thread.detach();
        }
        return;
    }
    ending.lock();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

} // namespace httpclient::engine
