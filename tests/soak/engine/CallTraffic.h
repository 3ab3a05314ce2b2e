// SPDX-License-Identifier: Apache-2.0
/// @file
/// Thousands of asynchronous calls at a time, of every kind that there is, each with the outcome that it must have.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

class FaultyServer;

/// How the calls went.
struct CallCounts {
    std::atomic<std::uint64_t> started{0};
    std::atomic<std::uint64_t> answered{0};   ///< as they should
    std::atomic<std::uint64_t> provoked{0};   ///< failed, as they should
    std::atomic<std::uint64_t> disturbed{0};  ///< failed while the server was being restarted
    std::atomic<std::uint64_t> unexpected{0}; ///< ended otherwise
    std::atomic<std::uint64_t> again{0};      ///< outcomes of calls that had one already
    std::atomic<std::uint64_t> lost{0};       ///< calls whose function went without having been called
    std::atomic<std::int64_t> latest{0};      ///< milliseconds that a call took beyond its deadline

    std::uint64_t ended() const { return answered + provoked + disturbed + unexpected; }
};

/// Keeps so many calls under way from its construction to Stop(): where one ends, the next begins.
class CallTraffic {
public:
    CallTraffic(const FaultyServer& server, std::size_t inFlight);
    ~CallTraffic();
    CallTraffic(const CallTraffic&) = delete;
    CallTraffic& operator=(const CallTraffic&) = delete;

    const CallCounts& counts() const { return m_counts; }
    /// @return how many calls of each kind ended, a line for each.
    std::string DescribeKinds() const;
    /// @return the first unexpected outcomes, in words.
    std::vector<std::string> surprises() const;
    /// Lets no new call begin, and waits for those under way. @return whether all of them ended.
    bool Stop();

private:
    struct Kind;
    struct One;
    class Done;

    static const std::vector<Kind>& Kinds();
    void StartOne();
    void CancelOne();
    void End(const One& one, const httpclient::Result& outcome);

    const FaultyServer& m_server;
    httpclient::Engine m_engine;
    const httpclient::Client m_client;
    const httpclient::Client m_nobody; ///< to where nobody listens
    CallCounts m_counts;
    std::vector<std::atomic<std::uint64_t>> m_ofKind;
    std::atomic<bool> m_stop{false};

    mutable std::mutex m_lock; ///< of what follows
    std::condition_variable m_changed;
    std::size_t m_underWay = 0;
    std::mt19937 m_random{20'26};
    std::deque<httpclient::Call> m_toCancel;
    std::vector<std::string> m_surprises;
};
