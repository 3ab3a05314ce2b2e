// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is counted of the calls to one origin.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <httpclient/Request.h>
#include <httpclient/Result.h>

namespace httpclient::engine {

/// Counts up. Written by calls on any thread without a lock; what is read may be a moment old.
class Counter {
public:
    void Add(std::uint64_t more = 1) noexcept { m_count.fetch_add(more, std::memory_order_relaxed); }
    std::uint64_t count() const noexcept { return m_count.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> m_count{0};
};

/// How many times were so long.
class Histogram {
public:
    /// Upper bounds of the buckets; what is longer than the last is in one more.
    static constexpr std::array<std::chrono::microseconds, 16> BOUNDS{
        {std::chrono::microseconds(500), std::chrono::milliseconds(1), std::chrono::microseconds(2500),
         std::chrono::milliseconds(5), std::chrono::milliseconds(10), std::chrono::milliseconds(25),
         std::chrono::milliseconds(50), std::chrono::milliseconds(100), std::chrono::milliseconds(250),
         std::chrono::milliseconds(500), std::chrono::seconds(1), std::chrono::milliseconds(2500),
         std::chrono::seconds(5), std::chrono::seconds(10), std::chrono::seconds(30),
         std::chrono::seconds(60)}};

    void Count(std::chrono::nanoseconds time) noexcept {
        std::size_t bucket = 0;
        while (bucket < BOUNDS.size() && time > BOUNDS[bucket]) {
            ++bucket;
        }
        m_buckets[bucket].Add();
        m_sum.Add(static_cast<std::uint64_t>(time.count()));
    }
    /// @return the count of one bucket alone. @param index up to BOUNDS.size(), which is that of the longest.
    std::uint64_t count(std::size_t index) const noexcept { return m_buckets[index].count(); }
    std::chrono::nanoseconds sum() const noexcept {
        return std::chrono::nanoseconds(static_cast<std::chrono::nanoseconds::rep>(m_sum.count()));
    }

private:
    std::array<Counter, BOUNDS.size() + 1> m_buckets;
    Counter m_sum; ///< nanoseconds
};

/// How a call or an attempt ended: the class of its status ("2xx"), or the kind of its failure.
class Ending {
public:
    static constexpr std::size_t CLASSES = 4; ///< 2xx to 5xx; no other is the outcome of a call
    static constexpr std::size_t COUNT = CLASSES + static_cast<std::size_t>(FailureKind::Internal) + 1;

    static constexpr Ending Of(FailureKind kind) noexcept {
        return Ending(CLASSES + static_cast<std::size_t>(kind));
    }
    static constexpr Ending OfStatus(int status) noexcept {
        constexpr int FIRST = 2;
        constexpr int LAST = 5;
        const int its = status / 100;
        return Ending(static_cast<std::size_t>(its < FIRST ? 0 : (its > LAST ? LAST : its) - FIRST));
    }
    explicit constexpr Ending(std::size_t index) noexcept : m_index(index) {}
    constexpr std::size_t index() const noexcept { return m_index; }
    const char* name() const noexcept;

private:
    std::size_t m_index;
};

/// Why a connection was closed.
enum class CloseReason {
    Idle,    ///< for longer than the time-out
    Age,     ///< too old, or made with TLS material that is no longer in use
    Server,  ///< it closed the connection, or one of both sides said that it will not be kept
    Error,   ///< its exchange did not end as it should
    Surplus, ///< bytes came behind an answer
    Limit,   ///< to make room for another
    Shutdown ///< the engine ends, or the host asked for it
};
constexpr std::size_t CLOSE_REASONS = static_cast<std::size_t>(CloseReason::Shutdown) + 1;
const char* ToString(CloseReason reason) noexcept;

/// The calls of one method under one label.
struct RouteCounts {
    std::size_t method = 0; ///< its number; one beyond the last stands for what is no method
    std::string label;
    std::array<Counter, Ending::COUNT> endings;
};

/// Everything that is counted of one origin. Counting needs neither a lock nor, but for a label's first time, memory.
///
/// @par Thread Safety
/// Any thread.
class OriginCounts {
public:
    static constexpr std::size_t METHODS = static_cast<std::size_t>(Method::Options) + 2;
    static constexpr std::size_t MOST_ROUTES = 128; ///< with a label
    static constexpr std::size_t LONGEST_LABEL = 128;
    static constexpr const char* OTHER = "other"; ///< the label of all that is beyond the bounds

    explicit OriginCounts(std::string text);
    ~OriginCounts();
    OriginCounts(const OriginCounts&) = delete;
    OriginCounts& operator=(const OriginCounts&) = delete;

    /// @return the counts of a route; those of "other" beyond the bounds and where there is no memory.
    RouteCounts& Route(Method method, const std::string& label) noexcept;
    /// Calls a function with each route that there is.
    template <class Look> void ForEachRoute(const Look& look) const {
        for (const auto* group : {&m_unlabelled, &m_others}) {
            for (const RouteCounts& route : *group) {
                look(route);
            }
        }
        for (const auto& slot : m_table) {
            if (const RouteCounts* route = slot.load(std::memory_order_acquire)) {
                look(*route);
            }
        }
    }

    const std::string origin;
    Histogram durations;
    Histogram leases;
    Counter opened;
    std::array<Counter, CLOSE_REASONS> closed;
    std::array<Counter, Ending::COUNT> retries;
    Counter handshakes;
    Counter resumed; ///< handshakes, not among the others
    Counter sent;    ///< bytes of requests
    Counter received;

    Counter& ClosedFor(CloseReason reason) noexcept { return closed[static_cast<std::size_t>(reason)]; }

private:
    static constexpr std::size_t SLOTS = 2 * MOST_ROUTES; ///< so that every search comes to an empty one

    RouteCounts* Add(std::size_t method, const std::string& label) noexcept;

    std::array<RouteCounts, METHODS> m_unlabelled;
    std::array<RouteCounts, METHODS> m_others;
    /// A hash table, in which nothing is ever changed or taken out.
    std::array<std::atomic<RouteCounts*>, SLOTS> m_table{};
    std::atomic<std::size_t> m_routes{0};
};

} // namespace httpclient::engine
