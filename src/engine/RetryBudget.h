// SPDX-License-Identifier: Apache-2.0
/// @file
/// How many retries a client may afford.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace httpclient::engine {

/// Each call adds a share, each retry takes one; full at the start.
///
/// @par Thread Safety
/// Any thread.
class RetryBudget {
public:
    /// @param share what a call adds; 0: there is never anything in it.
    explicit RetryBudget(double share)
        : m_share(static_cast<std::int64_t>(std::min(share, MOST) * UNIT)), m_left(share > 0 ? FULL : 0) {}

    void CountCall() noexcept {
        if (m_share == 0 || m_left.load(std::memory_order_relaxed) >= FULL) {
            return;
        }
        std::int64_t left = m_left.load(std::memory_order_relaxed);
        while (
            !m_left.compare_exchange_weak(left, std::min(FULL, left + m_share), std::memory_order_relaxed)) {
        }
    }

    /// @return whether a retry was taken from it.
    bool Take() noexcept {
        std::int64_t left = m_left.load(std::memory_order_relaxed);
        while (left >= UNIT) {
            if (m_left.compare_exchange_weak(left, left - UNIT, std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

private:
    static constexpr std::int64_t UNIT = 1'000'000; ///< of one retry
    static constexpr double MOST = 10;
    static constexpr std::int64_t FULL = 10 * UNIT;

    const std::int64_t m_share;
    std::atomic<std::int64_t> m_left;
};

} // namespace httpclient::engine
