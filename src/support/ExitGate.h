// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps the library's own threads out of libcurl once the process exits.
#pragma once

#include <optional>

/// The gate between the library's threads and the end of the process.
///
/// exit() runs OpenSSL's clean-up while detached workers may be amid a TLS transfer, which would crash
/// them. So each step that a thread of ours takes in libcurl passes the gate, and exit() closes it first:
/// it waits for the steps under way, two seconds at most (one may wait for a slow name service), and lets
/// none begin. The waits between the steps are outside, and so is the wait for a lock: who holds it may be
/// the thread that exits.
class ExitGate {
public:
    /// Has a forked child begin with a gate of its own. Before any thread passes it; calls after the first do nothing.
    static void Prepare();
    /// Has exit() close the gate. To be called when OpenSSL has been initialised, as libcurl does with its first
    /// handle: handlers of exit() run in reverse order. Calls after the first do nothing.
    static void Arm();

    /// The first local object of a thread of the library's that nobody joins, and so the last to go. It marks the thread as
    /// one that may run code of the host's while the process exits. Its destruction begins the thread's last step, which
    /// lasts until the C library has destroyed what OpenSSL, ACE and others keep for the thread: exit() cleans them up.
    class DetachedThread {
    public:
        DetachedThread() noexcept;
        ~DetachedThread();
        DetachedThread(const DetachedThread&) = delete;
        DetachedThread& operator=(const DetachedThread&) = delete;
    };

    /// The first step of a thread, which whoever starts the thread begins and the thread ends: ACE's entry of a thread uses
    /// what ACE's clean-up destroys. It is refused once the gate is closed, when the thread must not be started.
    class FirstStep {
    public:
        FirstStep();
        ~FirstStep();
        FirstStep(const FirstStep&) = delete;
        FirstStep& operator=(const FirstStep&) = delete;
        bool Passed() const { return m_bPassed; }

    private:
        bool m_bPassed = false;
    };

    /// A worker's pass: once the gate is closed, its thread stays here until the process has ended.
    class Pass {
    public:
        Pass();
        ~Pass();
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
    };

    /// The pass of the host's code on a marked thread, as a worker's; on any other thread it does nothing.
    class CallbackPass {
    public:
        CallbackPass();

    private:
        std::optional<Pass> m_pass;
    };

    /// The pool thread's pass, which is refused once the gate is closed: that thread may still be waited for.
    class Try {
    public:
        Try();
        ~Try();
        Try(const Try&) = delete;
        Try& operator=(const Try&) = delete;
        bool Passed() const { return m_bPassed; }

    private:
        bool m_bPassed = false;
    };

    /// The same for host's code on a marked thread, for those who hold a lock; on any other thread it is not refused.
    class CallbackTry {
    public:
        CallbackTry();
        bool Passed() const { return !m_try || m_try->Passed(); }

    private:
        std::optional<Try> m_try;
    };
};
