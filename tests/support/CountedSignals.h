// SPDX-License-Identifier: Apache-2.0
/// @file
/// Signals that come amid calls, and are counted.
#pragma once

#include <atomic>
#include <csignal>

#include <sys/time.h>

namespace httpclient::testing {

/// Counts a signal while it lives, one at a time in a process. Calls that it interrupts are not restarted.
class CountedSignal {
public:
    explicit CountedSignal(int number) : m_number(number) {
        m_taken = 0;
        struct sigaction count {};
        count.sa_handler = [](int) { ++m_taken; }; // and no SA_RESTART
        sigaction(number, &count, &m_former);
    }
    ~CountedSignal() { sigaction(m_number, &m_former, nullptr); }
    CountedSignal(const CountedSignal&) = delete;
    CountedSignal& operator=(const CountedSignal&) = delete;

    /// @return how often it came.
    static int Taken() { return m_taken; }

private:
    static inline std::atomic<int> m_taken{0};

    const int m_number;
    struct sigaction m_former {};
};

/// While it lives, SIGALRM comes every millisecond.
class Alarms {
public:
    Alarms() { Every(1000); }
    ~Alarms() { Every(0); }
    Alarms(const Alarms&) = delete;
    Alarms& operator=(const Alarms&) = delete;

    /// @return how many came.
    static int Taken() { return CountedSignal::Taken(); }

private:
    static void Every(suseconds_t microseconds) {
        const itimerval timer{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    const CountedSignal m_counted{SIGALRM};
};

} // namespace httpclient::testing
