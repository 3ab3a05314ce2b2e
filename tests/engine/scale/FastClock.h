// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the monotonic clock: link FastClock.cpp.
#pragma once

#include <chrono>

/// While it lives, the monotonic clock can be put forward, for the whole process. Waits for a time take no longer than
/// they would have. One at a time.
class FastClock {
public:
    FastClock() = default;
    ~FastClock();
    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;

    static void Advance(std::chrono::nanoseconds time);
};
