// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where a blocking call waits for what is no descriptor: the pool's line, a look-up.
#pragma once

#include <mutex>

#include "engine/MonotonicCondition.h"
#include "support/Waker.h"

namespace httpclient::engine {

/// One thread's place to wait. A waking before the wait is not lost.
class Parker final : public Waker {
public:
    void Wake() noexcept override {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_woken = true;
        m_condition.NotifyAll();
    }

    /// Waits until it is woken or the time has come.
    void Wait(net::Time until) {
        std::unique_lock<std::mutex> lock(m_lock);
        while (!m_woken && net::Clock::now() < until) {
            m_condition.Wait(lock, until);
        }
        m_woken = false;
    }

private:
    std::mutex m_lock;
    MonotonicCondition m_condition;
    bool m_woken = false;
};

} // namespace httpclient::engine
