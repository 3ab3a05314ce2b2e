// SPDX-License-Identifier: Apache-2.0
/// @file
/// Has threads begin together.
#pragma once

#include <condition_variable>
#include <mutex>

/// Where threads wait until all are ready, and one more says go.
class StartLine {
public:
    explicit StartLine(int threads) : m_missing(threads) {}

    /// A thread is ready. @return when it may go.
    void Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (--m_missing == 0) {
            m_ready.notify_one();
        }
        m_go.wait(lock, [this] { return m_bStarted; });
    }
    /// @return when all are ready.
    void AwaitAll() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_ready.wait(lock, [this] { return m_missing == 0; });
    }
    void Start() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bStarted = true;
        m_go.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::condition_variable m_go;
    int m_missing;
    bool m_bStarted = false;
};
