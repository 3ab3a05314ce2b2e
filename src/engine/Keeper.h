// SPDX-License-Identifier: Apache-2.0
/// @file
/// The thread that looks after what waits: idle connections, service tokens, files of TLS material.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

#include "engine/MonotonicCondition.h"

namespace httpclient::engine {

/// Calls a function when it asked to be called next. Its thread begins with the first time that it is needed.
///
/// @par Thread Safety
/// Any thread.
class Keeper {
public:
    /// @param work given the time, does what is due. @return when it wants to be called next; Time::max(): never.
    explicit Keeper(std::function<net::Time(net::Time)> work) : m_work(std::move(work)) {}
    ~Keeper() { Stop(); }
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;

    /// Has the work called at a time at the latest. Costs one load when it would be anyway. A thread that cannot be
    /// started now is tried again at the next call.
    void NeededAt(net::Time time) noexcept;
    /// Ends the thread and waits for it.
    void Stop() noexcept;

private:
    void Begin(net::Time time);
    void Run();

    const std::function<net::Time(net::Time)> m_work;
    std::atomic<net::Time::rep> m_next{net::Time::max().time_since_epoch().count()};
    std::mutex m_lock;
    MonotonicCondition m_changed;
    bool m_stopped = false;
    std::mutex m_ending; ///< held while the thread is waited for
    std::thread m_thread;
};

} // namespace httpclient::engine
