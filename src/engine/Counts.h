// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is counted of the calls to one origin.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

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

constexpr std::size_t BINARY_DIGITS = 64;

/// @return how many binary digits a number has; 1 of 0.
constexpr std::size_t DigitsOf(std::uint64_t number) noexcept {
    return BINARY_DIGITS - static_cast<std::size_t>(__builtin_clzll(number | 1U));
}

/// @return for each number of digits, how many of some times have fewer.
template <std::size_t COUNT>
constexpr std::array<std::uint8_t, BINARY_DIGITS + 1>
WithFewerDigits(const std::array<std::chrono::nanoseconds, COUNT>& times) noexcept {
    std::array<std::uint8_t, BINARY_DIGITS + 1> fewer{};
    for (std::size_t digits = 0; digits <= BINARY_DIGITS; ++digits) {
        for (const std::chrono::nanoseconds time : times) {
            if (DigitsOf(static_cast<std::uint64_t>(time.count())) < digits) {
                ++fewer[digits];
            }
        }
    }
    return fewer;
}

/// How many times were so long.
class Histogram {
public:
    /// Upper bounds of the buckets; what is longer than the last is in one more.
    static constexpr std::array<std::chrono::nanoseconds, 16> BOUNDS{
        {std::chrono::microseconds(500), std::chrono::milliseconds(1), std::chrono::microseconds(2500),
         std::chrono::milliseconds(5), std::chrono::milliseconds(10), std::chrono::milliseconds(25),
         std::chrono::milliseconds(50), std::chrono::milliseconds(100), std::chrono::milliseconds(250),
         std::chrono::milliseconds(500), std::chrono::seconds(1), std::chrono::milliseconds(2500),
         std::chrono::seconds(5), std::chrono::seconds(10), std::chrono::seconds(30),
         std::chrono::seconds(60)}};

    void Count(std::chrono::nanoseconds time) noexcept {
        const auto count = static_cast<std::uint64_t>(time.count());
        // One comparison, however long it was: no two bounds have as many binary digits.
        const std::size_t bucket = SHORTER[DigitsOf(count)];
        m_buckets[bucket + (bucket < BOUNDS.size() && time > BOUNDS[bucket] ? 1 : 0)].Add();
        m_sum.Add(count);
    }
    /// @return the count of one bucket alone. @param index up to BOUNDS.size(), which is that of the longest.
    std::uint64_t count(std::size_t index) const noexcept { return m_buckets[index].count(); }
    std::chrono::nanoseconds sum() const noexcept {
        return std::chrono::nanoseconds(static_cast<std::chrono::nanoseconds::rep>(m_sum.count()));
    }

private:
    static constexpr auto SHORTER = WithFewerDigits(BOUNDS);

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
    std::size_t hash = 0;   ///< of both, where it is looked for by them
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
    static constexpr std::string_view OTHER = "other"; ///< the label of all that is beyond the bounds

    explicit OriginCounts(std::string text);
    ~OriginCounts();
    OriginCounts(const OriginCounts&) = delete;
    OriginCounts& operator=(const OriginCounts&) = delete;

    /// @return the counts of a route; those of "other" beyond the bounds and where there is no memory.
    RouteCounts& Route(Method method, const std::string& label) noexcept {
        const std::size_t number = std::min(static_cast<std::size_t>(method), METHODS - 1);
        if (label.empty()) {
            return m_unlabelled[number];
        }
        const std::size_t hash = HashOf(number, label);
        std::size_t place = hash;
        RouteCounts* route = nullptr;
        do {
            route = m_table[place++ % SLOTS].load(std::memory_order_acquire);
        } while (route != nullptr && route->hash != hash);
        const bool found = route != nullptr && route->method == number && route->label == label;
        return found ? *route : Search(number, label);
    }
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

    /// @return a number by method and label: its length, its begin, its middle and its end, so that it costs a long label
    ///         no more.
    static std::size_t HashOf(std::size_t method, std::string_view label) noexcept;
    RouteCounts& Search(std::size_t method, const std::string& label) noexcept;
    RouteCounts* Add(std::size_t method, std::string_view label, std::size_t hash) noexcept;

    std::array<RouteCounts, METHODS> m_unlabelled;
    std::array<RouteCounts, METHODS> m_others;
    /// A hash table, in which nothing is ever changed or taken out.
    std::array<std::atomic<RouteCounts*>, SLOTS> m_table{};
    std::atomic<std::size_t> m_routes{0};
};

inline std::size_t OriginCounts::HashOf(std::size_t method, std::string_view label) noexcept {
    constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15U;
    constexpr unsigned int HALF = 32;
    std::uint64_t hash = method << HALF | label.size();
    const auto mix = [&](std::size_t at) {
        std::uint64_t word = 0;
        std::memcpy(&word, label.data() + at, sizeof word);
        hash = (hash ^ word) * FACTOR;
    };
    if (label.size() >= sizeof hash) {
        const std::size_t last = label.size() - sizeof hash;
        mix(0);
        mix(last / 2);
        mix(last);
    } else {
        hash = (hash ^ static_cast<unsigned char>(label.front())) * FACTOR;
        hash = (hash ^ static_cast<unsigned char>(label[label.size() / 2])) * FACTOR;
        hash = (hash ^ static_cast<unsigned char>(label.back())) * FACTOR;
    }
    return hash >> HALF;
}

} // namespace httpclient::engine
