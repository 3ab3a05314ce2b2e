// SPDX-License-Identifier: Apache-2.0
#include "support/ExitGate.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>

#include <pthread.h>

#include "support/Cancellation.h"

namespace {

/// A step takes milliseconds, but may wait for libcurl's resolver, which may wait for a name service.
constexpr std::chrono::seconds LONGEST_WAIT{2};

struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    unsigned int steps = 0; ///< under way
    bool closed = false;
};

Gate& g_gate = *new Gate; // never destroyed: threads may stay before it until the process is gone

thread_local unsigned int t_steps =
    0; // this thread's own, which it doesn't wait for should it exit amid them
thread_local bool t_isMarked = false;

void Begin() {
    ++g_gate.steps;
    ++t_steps;
}

/// Ends one that may be another thread's. To be called with the gate's lock.
void EndAny() {
    --g_gate.steps;
    if (g_gate.closed) {
        g_gate.changed.notify_all();
    }
}

void End() {
    const std::lock_guard<std::mutex> lock(g_gate.mutex);
    EndAny();
    --t_steps;
}

/// Once the gate is closed, the thread stays here until the process has ended: it is never opened again.
void Enter() {
    std::unique_lock<std::mutex> lock(g_gate.mutex);
    g_gate.changed.wait(lock, [] { return !g_gate.closed; });
    Begin();
}

// The C library destroys what is kept for a thread in rounds. In the second one all others have had their turn.
constexpr char FIRST_ROUND = 1;
constexpr char SECOND_ROUND = 2;

pthread_key_t g_lastStep;

void EndInSecondRound(void* round) {
    if (round == &SECOND_ROUND || pthread_setspecific(g_lastStep, &SECOND_ROUND) != 0) {
        End();
    }
}

bool MakeLastStep() {
    static std::once_flag once;
    static bool made = false;
    std::call_once(once, [] { made = pthread_key_create(&g_lastStep, &EndInSecondRound) == 0; });
    return made;
}

void Close() {
    const CancellationBlock block; // nobody may be thrown out of exit()
    std::unique_lock<std::mutex> lock(g_gate.mutex);
    g_gate.closed = true;
    // A callback's thread that exits runs the host's other handlers: what they use must not wait for this.
    t_isMarked = false;
    g_gate.changed.wait_for(lock, LONGEST_WAIT, [] { return g_gate.steps == t_steps; });
}

/// Made as the library is loaded: its destruction comes before ACE's clean-up even where the gate was armed while the
/// process exited, and Close() comes after it.
struct LastOfExit {
    ~LastOfExit() {
        const std::lock_guard<std::mutex> lock(g_gate.mutex);
        g_gate.closed = true;
    }
} g_lastOfExit;

/// A forked child has none of the other threads that may have been amid a step.
void Renew() {
    new (&g_gate) Gate;
    g_gate.steps = t_steps;
}

} // namespace

void ExitGate::Prepare() {
    static std::once_flag once;
    std::call_once(once, [] { pthread_atfork(nullptr, nullptr, &Renew); });
}

void ExitGate::Arm() {
    Prepare();
    static std::once_flag once;
    std::call_once(once, [] {
        static_cast<void>(std::atexit(&Close)); // where it fails, exit() is as it would be without the gate
    });
}

ExitGate::DetachedThread::DetachedThread() noexcept {
    t_isMarked = true;
}

ExitGate::DetachedThread::~DetachedThread() {
    const CancellationBlock block;
    Enter();
    if (!MakeLastStep() || pthread_setspecific(g_lastStep, &FIRST_ROUND) != 0) {
        End();
    }
}

ExitGate::FirstStep::FirstStep() {
    const std::lock_guard<std::mutex> lock(g_gate.mutex);
    m_bPassed = !g_gate.closed;
    if (m_bPassed) {
        ++g_gate.steps; // none of this thread's own: should it exit, it waits for the other
    }
}

ExitGate::FirstStep::~FirstStep() {
    if (m_bPassed) {
        const std::lock_guard<std::mutex> lock(g_gate.mutex);
        EndAny();
    }
}

ExitGate::Pass::Pass() {
    Enter();
}

ExitGate::Pass::~Pass() {
    End();
}

ExitGate::CallbackPass::CallbackPass() {
    if (t_isMarked) {
        const CancellationBlock block; // the thread stays where it is until the process is gone
        m_pass.emplace();
    }
}

ExitGate::Try::Try() {
    const std::lock_guard<std::mutex> lock(g_gate.mutex);
    m_bPassed = !g_gate.closed;
    if (m_bPassed) {
        Begin();
    }
}

ExitGate::Try::~Try() {
    if (m_bPassed) {
        End();
    }
}

ExitGate::CallbackTry::CallbackTry() {
    if (t_isMarked) {
        m_try.emplace();
    }
}
