// SPDX-License-Identifier: Apache-2.0
/// @file
/// A condition that is waited for on the monotonic clock, and at which a thread may be cancelled.
#pragma once

#include <mutex>

#include <pthread.h>

#include "net/Net.h"

namespace httpclient::engine {

/// Like std::condition_variable, whose waits are noexcept: a cancelled thread could not unwind through them.
class MonotonicCondition {
public:
    MonotonicCondition() = default;
    MonotonicCondition(const MonotonicCondition&) = delete;
    MonotonicCondition& operator=(const MonotonicCondition&) = delete;
    ~MonotonicCondition() { pthread_cond_destroy(&m_condition); }

    void NotifyOne() noexcept { pthread_cond_signal(&m_condition); }
    void NotifyAll() noexcept { pthread_cond_broadcast(&m_condition); }

    /// Waits until it is notified, until a time, or for no reason. @param until Time::max(): without an end.
    void Wait(std::unique_lock<std::mutex>& lock, net::Time until) {
        if (until == net::Time::max()) {
            pthread_cond_wait(&m_condition, lock.mutex()->native_handle());
            return;
        }
        const auto since = until.time_since_epoch();
        const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
        timespec time{};
        time.tv_sec = seconds.count();
        time.tv_nsec = std::chrono::nanoseconds(since - seconds).count();
        pthread_cond_clockwait(&m_condition, lock.mutex()->native_handle(), CLOCK_MONOTONIC, &time);
    }

private:
    pthread_cond_t m_condition = PTHREAD_COND_INITIALIZER;
};

} // namespace httpclient::engine
