// SPDX-License-Identifier: Apache-2.0
#include "engine/Loops.h"

#include <csignal>
#include <utility>

namespace httpclient::engine {

namespace {

/// Loops that are being started: all of them, or none.
class Beginning {
public:
    explicit Beginning(unsigned count) {
        while (loops.size() < count) {
            loops.push_back(std::make_shared<Loop>());
        }
    }
    ~Beginning() {
        for (const std::shared_ptr<Loop>& loop : loops) {
            loop->Stop(true);
        }
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;

    std::vector<std::shared_ptr<Loop>> loops;
};

} // namespace

Loops::Loops(const EngineOptions::Body& options)
    : m_wanted(options.loops), m_callbackThreads(options.callbackThreads), m_executor(options.executor) {}

Loops::~Loops() {
    for (const std::shared_ptr<Loop>& loop : m_loops) {
        loop->Detach(); // where nobody could wait for it
    }
}

void Loops::Start() {
    if (started()) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    if (started()) { // cppcheck-suppress identicalConditionAfterEarlyExit
        return;
    }
    sigset_t mask; // code of the host runs with that of the thread that makes the first call
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    auto callbacks = std::make_unique<Jobs>(m_callbackThreads, mask);
    auto work = std::make_unique<Jobs>(1, std::nullopt);
    Beginning beginning(m_wanted);
    if (!m_executor) {
        callbacks->Start();
    }
    work->Start();
    for (const std::shared_ptr<Loop>& loop : beginning.loops) {
        loop->Start();
    }
    m_hostMask = mask;
    m_callbacks = std::move(callbacks);
    m_work = std::move(work);
    m_loops.swap(beginning.loops);
    m_started.store(true, std::memory_order_release);
}

Loop& Loops::Next() noexcept {
    return *m_loops[m_next.fetch_add(1, std::memory_order_relaxed) % m_loops.size()];
}

Loop* Loops::OfThisThread() noexcept {
    if (started()) {
        for (const std::shared_ptr<Loop>& loop : m_loops) {
            if (loop->isThisThread()) {
                return loop.get();
            }
        }
    }
    return nullptr;
}

void Loops::Interrupt() noexcept {
    if (started()) {
        for (const std::shared_ptr<Loop>& loop : m_loops) {
            loop->Interrupt();
        }
    }
}

void Loops::Stop(bool wait) noexcept {
    if (!started()) {
        return;
    }
    // No lock is held: code of the host that one thread waits for here may come here, too.
    const bool waits = wait && OfThisThread() == nullptr;
    for (const std::shared_ptr<Loop>& loop : m_loops) {
        loop->Stop(waits);
    }
    m_work->Finish();
    m_callbacks->Finish();
}

} // namespace httpclient::engine
