// SPDX-License-Identifier: Apache-2.0
#include "net/Resolver.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <mutex>
#include <new>
#include <thread>
#include <unordered_map>
#include <utility>

#include "net/NameLookUp.h"
#include "support/SignalBlock.h"

namespace httpclient::net {

namespace {

using AnswerPtr = std::shared_ptr<const NameAnswer>;
using WakerPtr = std::shared_ptr<Waker>;

constexpr std::chrono::seconds FAILURE_LIFETIME{1};
constexpr std::chrono::seconds IDLE_LIFETIME{5};         // of a thread without work
constexpr std::chrono::hours LONGEST_LIFETIME{24 * 365}; // so that no sum of times overflows

AnswerPtr FailedWith(std::errc error) {
    NameAnswer answer;
    answer.error = std::make_error_code(error);
    return std::make_shared<const NameAnswer>(std::move(answer));
}

/// What is known of a name.
struct Entry {
    AnswerPtr answer; ///< the last good one
    Time staleAt{};
    AnswerPtr failure; ///< of the last look-up
    Time retryAt{};
    Time usedAt{};
    bool underWay = false; ///< queued or being looked up
    std::vector<WakerPtr> waiters;
    std::vector<std::weak_ptr<Waker>> entitled; ///< were woken, and have not come for their answer yet

    const AnswerPtr& Outcome() const { return answer != nullptr ? answer : failure; }

    /// Makes room, so that Complete() needs none. @throw std::bad_alloc
    void Join(const WakerPtr& waker) {
        if (waker != nullptr && std::find(waiters.begin(), waiters.end(), waker) == waiters.end()) {
            entitled.reserve(entitled.size() + waiters.size() + 1);
            waiters.push_back(waker);
        }
    }

    /// @return whether this one has waited for the outcome; once.
    bool Redeem(const WakerPtr& waker) {
        const auto mine = std::find_if(entitled.begin(), entitled.end(), [&waker](const auto& each) {
            return !each.owner_before(waker) && !waker.owner_before(each);
        });
        if (waker == nullptr || mine == entitled.end()) {
            return false;
        }
        entitled.erase(mine);
        return true;
    }

    /// @return whom to wake.
    std::vector<WakerPtr> Complete(AnswerPtr found, Time now, std::chrono::milliseconds lifetime) {
        underWay = false;
        if (found->error) {
            // What this process was short of just now says nothing of the name.
            const bool ofTheName = found->error != std::errc::not_enough_memory &&
                                   found->error != std::errc::resource_unavailable_try_again;
            failure = std::move(found);
            retryAt = ofTheName ? now + FAILURE_LIFETIME : Time::min();
        } else {
            failure = nullptr;
            answer = std::move(found);
            staleAt = now + lifetime;
        }
        const auto left = [](const auto& each) { return each.expired(); };
        entitled.erase(std::remove_if(entitled.begin(), entitled.end(), left), entitled.end());
        entitled.insert(entitled.end(), waiters.begin(), waiters.end());
        return std::exchange(waiters, {});
    }
};

using Names = std::unordered_map<std::string, Entry>;

void WakeAll(const std::vector<WakerPtr>& wakers) {
    for (const WakerPtr& waker : wakers) {
        waker->Wake();
    }
}

} // namespace

/// Shared with the threads, which may outlive the Resolver.
struct Resolver::State {
    explicit State(std::chrono::milliseconds wanted)
        : lifetime(std::min<std::chrono::milliseconds>(wanted, LONGEST_LIFETIME)) {}

    Entry& EntryOf(const std::string& name, Time now);
    void EvictOne(const Entry& spared);
    bool Enqueue(Names::value_type& name);
    void GiveUp();
    void Serve();
    AnswerPtr Find(const std::string& name) const noexcept;

    const std::chrono::milliseconds lifetime;
    const AnswerPtr noMemory = FailedWith(std::errc::not_enough_memory);
    const AnswerPtr noThread = FailedWith(std::errc::resource_unavailable_try_again);

    std::mutex lock;
    std::condition_variable changed;
    Names names;
    std::deque<Names::value_type*> queue; // what is in it is under way, and therefore stays
    std::size_t threads = 0;
    std::size_t idle = 0;
    bool stopped = false;
};

Entry& Resolver::State::EntryOf(const std::string& name, Time now) {
    Entry& entry = names[name];
    entry.usedAt = now;
    if (names.size() > MAX_NAMES) {
        EvictOne(entry);
    }
    return entry;
}

/// Forgets the name that was not asked for for the longest time. Look-ups under way stay.
void Resolver::State::EvictOne(const Entry& spared) {
    auto oldest = names.end();
    for (auto each = names.begin(); each != names.end(); ++each) {
        const bool free = !each->second.underWay && &each->second != &spared;
        if (free && (oldest == names.end() || each->second.usedAt < oldest->second.usedAt)) {
            oldest = each;
        }
    }
    if (oldest != names.end()) {
        names.erase(oldest);
    }
}

/// @return whether a thread has to be started for it; it is counted already. @throw std::bad_alloc
bool Resolver::State::Enqueue(Names::value_type& name) {
    queue.push_back(&name);
    name.second.underWay = true;
    if (queue.size() <= idle || threads == MAX_THREADS) {
        return false;
    }
    ++threads;
    return true;
}

/// A thread could not be started. Where there is no other, what is queued has failed. Needs no memory.
void Resolver::State::GiveUp() {
    std::unique_lock<std::mutex> guard(lock);
    --threads;
    while (threads == 0 && !queue.empty()) {
        Entry& entry = queue.front()->second;
        queue.pop_front();
        const std::vector<WakerPtr> wakers = entry.Complete(noThread, Clock::now(), lifetime);
        guard.unlock();
        WakeAll(wakers);
        guard.lock();
    }
}

AnswerPtr Resolver::State::Find(const std::string& name) const noexcept {
    try {
        return std::make_shared<const NameAnswer>(LookUp(name));
    } catch (const std::bad_alloc&) {
        return noMemory;
    }
}

/// What a thread does, until it has been idle for a while.
void Resolver::State::Serve() {
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
        ++idle;
        const bool work =
            changed.wait_for(guard, IDLE_LIFETIME, [this] { return stopped || !queue.empty(); });
        --idle;
        if (!work || stopped) {
            break;
        }
        Names::value_type& name = *queue.front();
        queue.pop_front();
        guard.unlock();
        AnswerPtr answer = Find(name.first);
        guard.lock();
        if (stopped) {
            break;
        }
        std::vector<WakerPtr> wakers = name.second.Complete(std::move(answer), Clock::now(), lifetime);
        guard.unlock();
        WakeAll(wakers);
        wakers.clear(); // where the last of a waker's owners ends, no lock is held
        guard.lock();
    }
    --threads;
}

Resolver::Resolver(std::chrono::milliseconds lifetime) : m_state(std::make_shared<State>(lifetime)) {}

void Resolver::Stop() noexcept {
    {
        const std::lock_guard<std::mutex> guard(m_state->lock);
        m_state->stopped = true;
        m_state->queue.clear();
        // What is under way stays: its thread knows where it is.
        Names& names = m_state->names;
        for (auto each = names.begin(); each != names.end();) {
            each = each->second.underWay ? std::next(each) : names.erase(each);
        }
    }
    m_state->changed.notify_all();
}

std::shared_ptr<const NameAnswer> Resolver::Find(const std::string& name, Time now,
                                                 const std::shared_ptr<Waker>& waker, bool waited) {
    NameAnswer atOnce;
    if (AnswerAtOnce(name, atOnce)) {
        return std::make_shared<const NameAnswer>(std::move(atOnce));
    }
    State& state = *m_state;
    AnswerPtr old;
    bool start = false;
    {
        const std::lock_guard<std::mutex> guard(state.lock);
        Entry& entry = state.EntryOf(name, now);
        const bool entitled = entry.Redeem(waker) && waited;
        if (entitled || (entry.answer != nullptr && now < entry.staleAt)) {
            return entry.Outcome();
        }
        old = entry.answer;
        const bool begin = !entry.underWay && (entry.failure == nullptr || now >= entry.retryAt);
        if (!begin && !entry.underWay) {
            return entry.Outcome(); // failed a moment ago
        }
        if (old == nullptr) {
            entry.Join(waker);
        }
        if (begin) {
            start = state.Enqueue(*state.names.find(name));
        }
    }
    if (start) {
        StartThread(old != nullptr);
    }
    state.changed.notify_one();
    return old;
}

/// @param excused whether the caller can do without.
void Resolver::StartThread(bool excused) {
    try {
        const SignalBlock blocked;
        std::thread([state = m_state] { state->Serve(); }).detach();
    } catch (...) {
        m_state->GiveUp();
        if (!excused) {
            throw;
        }
    }
}

} // namespace httpclient::net
