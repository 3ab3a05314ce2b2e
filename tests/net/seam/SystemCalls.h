// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stands before send(), sendmsg() and recv(): link SystemCalls.cpp.
#pragma once

#include <cstddef>

/// Counts the calls of the thread that made it while it lives, and can have some interrupted.
class SystemCalls {
public:
    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    std::size_t sends() const { return m_sends; }       ///< of send()
    std::size_t sendmsgs() const { return m_sendmsgs; } ///< of sendmsg()
    std::size_t receives() const { return m_receives; } ///< of recv()
    bool noSignal() const { return m_noSignal; }        ///< whether each of those that send had MSG_NOSIGNAL
    /// Has the next calls end with EINTR, so many.
    void Interrupt(int times) { m_interruptions = times; }

    /// @cond INTERNAL
    enum class Kind { Send, SendMessage, Receive };
    static bool Interrupted(Kind kind, int flags);
    /// @endcond

private:
    std::size_t m_sends = 0;
    std::size_t m_sendmsgs = 0;
    std::size_t m_receives = 0;
    bool m_noSignal = true;
    int m_interruptions = 0;
};
