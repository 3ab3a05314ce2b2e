// SPDX-License-Identifier: Apache-2.0
#include "pool/ReactorStay.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>

#include <pthread.h>

#include <ace/Reactor.h>

#include "support/Cancellation.h"

namespace {

/// The thread leaves when it is told to, so this is not waited for: it bounds what nobody has thought of.
constexpr std::chrono::seconds LONGEST_WAIT{2};

/// The way in is one message of the log.
constexpr std::chrono::seconds LONGEST_WAY_IN{1};

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    ACE_Reactor* occupied = nullptr; ///< The reactor that the pool's thread is in.
    bool exiting = false;
    bool ended = false; ///< ACE's clean-up comes next.
    bool letGo = false;
    bool beginning = false; ///< A thread is to come.
    bool onWayIn = false;   ///< It has not logged yet.

    /// Keeps the thread here for as long as the process exits.
    void Keep(std::unique_lock<std::mutex>& lock) {
        changed.wait(lock, [this] { return !exiting || letGo; });
    }

    void AwaitTheOneThatBegins(std::unique_lock<std::mutex>& lock) {
        changed.wait_for(lock, LONGEST_WAIT, [this] { return !beginning; });
    }
};

State& g_state = *new State; // never destroyed: the thread may be kept until the process is gone

/// Made as the library is loaded, which is after ACE: of what exit() runs, its destruction comes last before ACE's clean-up.
/// A handler that is registered while the process exits may come after it.
struct LastOfExit {
    ~LastOfExit() {
        const CancellationBlock block;
        std::unique_lock<std::mutex> lock(g_state.mutex);
        g_state.ended = true;
        g_state.AwaitTheOneThatBegins(lock);
    }
} g_lastOfExit;

thread_local ReactorStay* t_stay = nullptr;

void HaveItLeave() {
    const CancellationBlock block; // nobody may be thrown out of exit()
    std::unique_lock<std::mutex> lock(g_state.mutex);
    g_state.exiting = true;
    g_state.AwaitTheOneThatBegins(lock);
    if (g_state.occupied == nullptr || t_stay != nullptr) { // nor does a thread that exits itself come back
        return;
    }
    g_state.occupied->end_reactor_event_loop();
    g_state.changed.wait_for(lock, LONGEST_WAIT, [] { return g_state.occupied == nullptr; });
}

/// A forked child has no pool's thread.
void Renew() {
    new (&g_state) State;
    t_stay = nullptr;
}

} // namespace

bool ReactorStay::Prepare() {
    static std::once_flag once;
    std::call_once(once, [] {
        pthread_atfork(nullptr, nullptr, &Renew);
        static_cast<void>(std::atexit(&HaveItLeave)); // ACE's clean-up was registered when ACE was loaded
    });
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    if (g_state.ended) {
        return false;
    }
    g_state.letGo = false;
    g_state.beginning = true;
    g_state.onWayIn = true;
    return true;
}

ReactorStay::WayIn::WayIn() {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.beginning = false;
    g_state.changed.notify_all();
}

ReactorStay::WayIn::~WayIn() {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.onWayIn = false;
    g_state.changed.notify_all();
}

void ReactorStay::AwaitBeginning() {
    std::unique_lock<std::mutex> lock(g_state.mutex);
    g_state.changed.wait(lock, [] { return !g_state.beginning; });
}

void ReactorStay::AwaitEntry() {
    const CancellationBlock block; // nor out of fork()
    std::unique_lock<std::mutex> lock(g_state.mutex);
    g_state.changed.wait_for(lock, LONGEST_WAY_IN, [] { return !g_state.onWayIn; });
}

void ReactorStay::LetGo() {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.letGo = true;
    g_state.beginning = false;
    g_state.onWayIn = false;
    g_state.changed.notify_all();
}

ReactorStay::ReactorStay(ACE_Reactor& reactor) : m_reactor(reactor) {
    t_stay = this;
    Enter();
}

ReactorStay::~ReactorStay() {
    Leave();
    t_stay = nullptr;
    std::unique_lock<std::mutex> lock(g_state.mutex);
    g_state.Keep(lock);
}

void ReactorStay::Enter() {
    std::unique_lock<std::mutex> lock(g_state.mutex);
    g_state.Keep(lock);
    g_state.occupied = &m_reactor;
}

void ReactorStay::Leave() {
    const std::lock_guard<std::mutex> lock(g_state.mutex);
    g_state.occupied = nullptr;
    g_state.changed.notify_all();
}

ReactorStay::Pause::Pause() {
    if (t_stay != nullptr) {
        t_stay->Leave();
    }
}

ReactorStay::Pause::~Pause() {
    if (t_stay != nullptr) {
        t_stay->Enter();
    }
}
