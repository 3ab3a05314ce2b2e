// SPDX-License-Identifier: Apache-2.0
/// @file
/// The threads of an engine that asynchronous calls need.
#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "engine/Jobs.h"
#include "engine/Loop.h"
#include "engine/Options.h"

namespace httpclient::engine {

/// Event loops, callback threads, and one for work of the engine's own that may block. All begin with the first
/// asynchronous call.
///
/// @par Thread Safety
/// Any thread.
class Loops {
public:
    explicit Loops(const EngineOptions::Body& options);
    ~Loops();
    Loops(const Loops&) = delete;
    Loops& operator=(const Loops&) = delete;

    /// Starts the threads, unless they run. @throw std::system_error, std::bad_alloc: nothing was started for good.
    void Start();
    /// @return the loop of the next call, in turn. After Start().
    Loop& Next() noexcept;
    /// @return the loop whose thread this is; null elsewhere.
    Loop* OfThisThread() noexcept;
    /// @return the threads for work of the engine's own, or those for code of the host. After Start().
    Jobs& JobsFor(bool work) noexcept { return work ? *m_work : *m_callbacks; }
    /// @return what runs code of the host instead of threads of ours; empty: nothing.
    const std::function<void(std::function<void()>)>& executor() const noexcept { return m_executor; }
    /// Has all loops look at their calls: the engine ends.
    void Interrupt() noexcept;
    /// Lets the threads end with the calls that are under way. @param wait whether to wait for them: not amid host code
    /// of a call. A loop's own thread never does.
    void Stop(bool wait) noexcept;
    /// @return the signals of the thread that made the first call. After Start().
    const sigset_t& hostMask() const noexcept { return m_hostMask; }
    bool started() const noexcept { return m_started.load(std::memory_order_acquire); }

private:
    const unsigned m_wanted;
    const unsigned m_callbackThreads;
    const std::function<void(std::function<void()>)> m_executor;

    std::mutex m_lock;
    std::atomic<bool> m_started{false};
    sigset_t m_hostMask{};
    std::vector<std::shared_ptr<Loop>> m_loops;
    std::unique_ptr<Jobs> m_callbacks;
    std::unique_ptr<Jobs> m_work;
    std::atomic<unsigned> m_next{0};
};

} // namespace httpclient::engine
