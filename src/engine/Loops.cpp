// SPDX-License-Identifier: Apache-2.0
#include "engine/Loops.h"

#include <csignal>
#include <utility>

namespace httpclient::engine {

Loops::Loops(Core& core, const EngineOptions::Body& options)
    : m_core(core), m_wanted(options.loops), m_callbackThreads(options.callbackThreads),
      m_executor(options.executor) {}

void Loops::Start() {
    if (m_started.load(std::memory_order_acquire)) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_started.load(std::memory_order_relaxed)) {
        return;
    }
    sigset_t mask; // code of the host runs with that of the thread that makes the first call
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    auto callbacks = std::make_unique<Jobs>(m_callbackThreads, mask);
    auto work = std::make_unique<Jobs>(1, std::nullopt);
    std::vector<std::unique_ptr<Loop>> loops;
    while (loops.size() < m_wanted) {
        loops.push_back(std::make_unique<Loop>(m_core));
    }
    if (!m_executor) {
        callbacks->Start();
    }
    work->Start();
    for (const std::unique_ptr<Loop>& loop : loops) {
        loop->Start(); // those that were started end when one cannot be
    }
    m_callbacks = std::move(callbacks);
    m_work = std::move(work);
    m_loops = std::move(loops);
    m_started.store(true, std::memory_order_release);
}

Loop& Loops::Next() noexcept {
    return *m_loops[m_next.fetch_add(1, std::memory_order_relaxed) % m_loops.size()];
}

Loop* Loops::OfThisThread() noexcept {
    if (m_started.load(std::memory_order_acquire)) {
        for (const std::unique_ptr<Loop>& loop : m_loops) {
            if (loop->isThisThread()) {
                return loop.get();
            }
        }
    }
    return nullptr;
}

void Loops::Interrupt() noexcept {
    if (m_started.load(std::memory_order_acquire)) {
        for (const std::unique_ptr<Loop>& loop : m_loops) {
            loop->Interrupt();
        }
    }
}

void Loops::Stop() noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_started.load(std::memory_order_acquire)) {
        return;
    }
    for (const std::unique_ptr<Loop>& loop : m_loops) {
        loop->Stop();
    }
    m_work->Finish();
    m_callbacks->Finish();
}

} // namespace httpclient::engine
