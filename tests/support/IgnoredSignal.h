// SPDX-License-Identifier: Apache-2.0
/// @file
/// A signal that is ignored for a while.
#pragma once

#include <csignal>

namespace httpclient::testing {

/// While it lives, the process, and what it starts, ignores a signal.
class IgnoredSignal {
public:
    explicit IgnoredSignal(int number) : m_number(number), m_former(std::signal(number, SIG_IGN)) {}
    ~IgnoredSignal() { static_cast<void>(std::signal(m_number, m_former)); }
    IgnoredSignal(const IgnoredSignal&) = delete;
    IgnoredSignal& operator=(const IgnoredSignal&) = delete;

private:
    int m_number;
    void (*m_former)(int);
};

} // namespace httpclient::testing
