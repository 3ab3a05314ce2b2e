// SPDX-License-Identifier: Apache-2.0
/// @file
/// A value that threads share.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace httpclient::testing {

/// A value that threads change, read and wait for. Safe from any number of threads.
template <class T> class Watched {
public:
    /// Lets @p change change the value, then wakes who waits. @return what it returns.
    template <class Change> auto Update(Change change) {
        struct Waker {
            std::condition_variable& changed;
            ~Waker() { changed.notify_all(); }
        };
        const std::lock_guard<std::mutex> lock(m_mutex);
        const Waker waker{m_changed};
        return change(m_value);
    }
    /// @return what @p read makes of the value.
    template <class Read> auto Look(Read read) const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return read(m_value);
    }
    /// Waits until @p wanted holds of the value. @return whether it does.
    template <class Wanted> bool WaitUntil(std::chrono::milliseconds timeout, Wanted wanted) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [this, &wanted] { return wanted(m_value); });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    T m_value{};
};

} // namespace httpclient::testing
