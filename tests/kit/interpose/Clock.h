// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds time(): link httpclient_interpose_clock.
#pragma once

#include <ctime>

namespace httpclient::testing {

/// While it lives, time() answers what it says, in the whole process. One at a time. Safe from any thread.
class FakeClock {
public:
    /// @param now what time() answers first; it stands still until told otherwise.
    explicit FakeClock(std::time_t now);
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void Set(std::time_t now);
    void Advance(std::time_t seconds);
    std::time_t Now() const;
};

/// What the real time() says, held or not.
std::time_t RealTime();

} // namespace httpclient::testing
