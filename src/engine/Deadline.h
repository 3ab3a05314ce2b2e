// SPDX-License-Identifier: Apache-2.0
/// @file
/// Times that a host gave, as points of the monotonic clock.
#pragma once

#include <algorithm>
#include <chrono>

#include "net/Net.h"

namespace httpclient::engine {

/// Longer than any process lives, and no sum with it overflows.
constexpr std::chrono::milliseconds LONGEST_TIME = std::chrono::hours(24L * 365 * 50);

/// @return the time, bounded to what can be reckoned with.
inline std::chrono::milliseconds Bounded(std::chrono::milliseconds time) noexcept {
    return std::clamp(time, std::chrono::milliseconds(0), LONGEST_TIME);
}

inline net::Time After(net::Time from, std::chrono::milliseconds time) noexcept {
    return from + Bounded(time);
}

} // namespace httpclient::engine
