// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds nanosleep(): link httpclient_interpose_sleep.
#pragma once

#include <ctime>
#include <functional>
#include <thread>
#include <vector>

namespace httpclient::testing {

/// While it lives, nanosleep() returns 0 at once, in the whole process (std::this_thread::sleep_for
/// included), and what it was asked for is kept. One at a time. Safe from any thread.
class HeldSleep {
public:
    struct Call {
        std::time_t seconds = 0;
        long nanoseconds = 0;
        std::thread::id thread;
    };
    /// Called on the sleeper's thread in place of the sleep, after it was recorded.
    using Hook = std::function<void(const Call&)>;

    explicit HeldSleep(Hook hook = {});
    /// Waits for running hooks, so that what they use may end after it.
    ~HeldSleep();
    HeldSleep(const HeldSleep&) = delete;
    HeldSleep& operator=(const HeldSleep&) = delete;

    /// The sleeps so far, in order.
    std::vector<Call> Calls() const;
};

} // namespace httpclient::testing
