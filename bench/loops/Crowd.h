// SPDX-License-Identifier: Apache-2.0
/// @file
/// Those that are compared.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

/// The bytes of the body of an answer.
constexpr std::size_t ANSWER_BYTES = 128;

/// The deadline of each call, with all that have one.
constexpr std::chrono::seconds DEADLINE{30};

/// What became of calls.
struct Tally {
    std::size_t answered = 0;
    std::size_t failed = 0;
};

/// A client with many calls under way, each a small GET on a connection that is kept. Those with an epoll loop of their own
/// resemble each other on purpose: each is a whole program of its kind, and nothing that they share stands between.
class Crowd {
public:
    Crowd() = default;
    virtual ~Crowd() = default;
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    /// Has so many calls under way, each followed by another until a time, and waits for the last.
    virtual Tally Run(std::size_t inFlight, Clock::time_point until) = 0;
};

/// Where a crowd goes, and how large it will be.
struct CrowdTarget {
    std::uint16_t port = 0;
    std::size_t most = 1;

    std::string Origin() const { return "http://127.0.0.1:" + std::to_string(port); }
};

/// Times from Cancel() to the outcome, in microseconds.
using CancelTimes = std::vector<double>;

/// One that is compared.
struct CrowdKind {
    std::string name;
    std::size_t most; ///< calls that it can be asked for at once
    std::unique_ptr<Crowd> (*make)(const CrowdTarget& target);
    /// Cancels calls, one after another, while others are under way. Null: it cannot.
    CancelTimes (*cancel)(const CrowdTarget& target, std::size_t inFlight) = nullptr;
    int rounds = std::numeric_limits<int>::max(); ///< that it takes part in
};

/// Those that were built; the limit, a bare epoll loop, first.
const std::vector<CrowdKind>& AllCrowds();

/// Calls that follow one another, whichever threads their ends are told on.
class Relay {
public:
    Relay(std::size_t inFlight, Clock::time_point until) : m_left(inFlight), m_until(until) {}

    /// A call ended. @return whether another is to follow.
    bool Ended(bool answered) {
        const bool over = Clock::now() >= m_until;
        const std::lock_guard<std::mutex> lock(m_lock);
        ++(answered ? m_tally.answered : m_tally.failed);
        if (over && --m_left == 0) {
            m_allEnded.notify_all();
        }
        return !over;
    }
    /// Waits for the last call. @return what became of all.
    Tally Wait() {
        std::unique_lock<std::mutex> lock(m_lock);
        m_allEnded.wait(lock, [this] { return m_left == 0; });
        return m_tally;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_allEnded;
    std::size_t m_left;
    Tally m_tally;
    const Clock::time_point m_until;
};
