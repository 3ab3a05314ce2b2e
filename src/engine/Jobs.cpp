// SPDX-License-Identifier: Apache-2.0
#include "engine/Jobs.h"

#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include <cxxabi.h>

#include "engine/HostMask.h"
#include "support/ExitGate.h"
#include "support/SignalBlock.h"

namespace httpclient::engine {

struct Jobs::State {
    using Queue = boost::intrusive::list<
        Job, boost::intrusive::member_hook<Job, boost::intrusive::list_member_hook<>, &Job::m_place>>;

    State(unsigned most, std::optional<sigset_t> signals) : wanted(most), mask(signals) {}

    const unsigned wanted;
    const std::optional<sigset_t> mask;
    std::mutex lock;
    MonotonicCondition changed; ///< work for the threads
    MonotonicCondition idle;    ///< news for Finish()
    Queue queue;
    unsigned threads = 0;
    unsigned sleeping = 0;
    bool waking = false; ///< a thread was woken, and is not here yet
    unsigned running = 0;
    unsigned finishing = 0; ///< of those running, how many wait in Finish()
    bool ending = false;

    /// One thread is woken at a time: it wakes the next, should there still be work when it has come. So a hundred jobs
    /// that come at once do not wake a thread each. Under the lock.
    /// @return whether to notify of a change, which is better done without the lock: the other would wait for it.
    bool WakesOne() noexcept {
        const bool wakes = !queue.empty() && sleeping > 0 && !waking;
        waking = waking || wakes;
        return wakes;
    }
    /// Under the lock, which is given back for that time.
    void Sleep(std::unique_lock<std::mutex>& held) {
        /// However it ends: a cancellation that a job has left to its thread acts here.
        struct Asleep {
            State& state;
            explicit Asleep(State& of) : state(of) { ++state.sleeping; }
            ~Asleep() {
                --state.sleeping;
                state.waking = false;
            }
        };
        const Asleep asleep(*this);
        changed.Wait(held, net::Time::max());
    }
};

namespace {

/// Of which queue this thread is, and whether the job that it runs has ended it.
thread_local const void* t_queue = nullptr;
thread_local bool t_finishing = false;

} // namespace

Jobs::Jobs(unsigned threads, std::optional<sigset_t> mask)
    : m_state(std::make_shared<State>(threads, mask)) {}

Jobs::~Jobs() {
    const std::lock_guard<std::mutex> lock(m_state->lock);
    m_state->ending = true;
    m_state->changed.NotifyAll();
}

void Jobs::Start() {
    const std::lock_guard<std::mutex> lock(m_state->lock);
    while (m_state->threads < m_state->wanted && StartOne(m_state)) {
    }
    if (m_state->threads == 0) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again), "thread");
    }
}

/// Starts a thread; under the lock. @return whether there is one more.
bool Jobs::StartOne(const std::shared_ptr<State>& state) noexcept {
    try {
        const SignalBlock block;
        std::thread(&Jobs::Run, state).detach(); // it has a pointer of its own
        ++state->threads;
        return true;
    } catch (const std::exception&) {
        return false; // fewer will do
    }
}

bool Jobs::Add(std::shared_ptr<Job> job) noexcept {
    const std::shared_ptr<State> state = m_state;
    std::unique_lock<std::mutex> lock(state->lock);
    if (state->threads == 0 && !StartOne(state)) {
        return false;
    }
    Job& added = *job;
    state->queue.push_back(added);
    added.m_self = std::move(job);
    const bool wakesOne = state->WakesOne();
    lock.unlock();
    if (wakesOne) {
        state->changed.NotifyOne();
    }
    return true;
}

bool Jobs::Withdraw(Job& job) noexcept {
    std::shared_ptr<Job> self; // let go of after the lock
    const std::lock_guard<std::mutex> lock(m_state->lock);
    if (!job.m_place.is_linked()) {
        return false;
    }
    m_state->queue.erase(m_state->queue.iterator_to(job));
    self = std::move(job.m_self);
    return true;
}

void Jobs::Run(const std::shared_ptr<State>& state) {
    const ExitGate::DetachedThread thread;
    t_queue = state.get();
    /// A job may end its thread; the count stays right, and another thread takes its place.
    struct Leaving {
        const std::shared_ptr<State>& state;
        ~Leaving() {
            const std::lock_guard<std::mutex> lock(state->lock);
            --state->threads;
            if (!state->ending || !state->queue.empty()) {
                StartOne(state);
            }
            state->idle.NotifyAll();
        }
    };
    struct Running {
        State& state;
        explicit Running(State& of) : state(of) { ++state.running; }
        ~Running() {
            const std::lock_guard<std::mutex> lock(state.lock);
            --state.running;
            state.finishing -= std::exchange(t_finishing, false) ? 1 : 0;
            state.idle.NotifyAll();
        }
    };
    const Leaving leaving{state};
    for (;;) {
        std::unique_lock<std::mutex> lock(state->lock);
        while (state->queue.empty() && !state->ending) {
            state->Sleep(lock);
        }
        if (state->queue.empty()) {
            return;
        }
        Job& first = state->queue.front();
        state->queue.pop_front();
        const Running running(*state);
        std::shared_ptr<Job> job = std::move(first.m_self);
        const bool wakesAnother = state->WakesOne();
        lock.unlock();
        if (wakesAnother) {
            state->changed.NotifyOne();
        }
        std::optional<HostMask> mask;
        if (state->mask) {
            mask.emplace(*state->mask);
        }
        job->Run();
        job.reset(); // with it goes what is the host's: nobody is told before that nothing runs any more
    }
}

void Jobs::Finish() {
    std::unique_lock<std::mutex> lock(m_state->lock);
    m_state->ending = true;
    m_state->changed.NotifyAll();
    if (t_queue == m_state.get()) {
        m_state->finishing += std::exchange(t_finishing, true) ? 0 : 1;
        m_state->idle.NotifyAll();
        return; // a job that ends its own queue is not waited for by others
    }
    while (m_state->threads > 0 && (!m_state->queue.empty() || m_state->running > m_state->finishing)) {
        m_state->idle.Wait(lock, net::Time::max());
    }
}

} // namespace httpclient::engine
