// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps signals away from the library's own threads, and lets them come to what is not the library's.
#pragma once

#include <csignal>
#include <initializer_list>

/// While it lives, threads that this thread starts are started with all signals blocked, so that the host's
/// signals are delivered to the host's threads and interrupt no wait of ours. Faults stay as the host has them: the
/// kernel ends a process that faults with the signal blocked, whatever handler the host has; and one that is sent to a
/// host that waits for it, and so has it blocked, is not for a thread of ours.
class SignalBlock {
public:
    SignalBlock() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
    }
    ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

    /// @return the signals that this thread had blocked before.
    const sigset_t& Former() const { return m_previous; }

private:
    sigset_t m_previous{};
};

/// While it lives, this thread has these signals blocked.
class SignalMask {
public:
    explicit SignalMask(const sigset_t& blocked) { pthread_sigmask(SIG_SETMASK, &blocked, &m_previous); }
    ~SignalMask() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    SignalMask(const SignalMask&) = delete;
    SignalMask& operator=(const SignalMask&) = delete;

private:
    sigset_t m_previous{};
};
