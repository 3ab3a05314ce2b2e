// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "send/Sender.h"

namespace sender {

/// The times of many requests, from the shortest to the longest.
class Latencies {
public:
    Latencies() = default;
    explicit Latencies(std::vector<Duration> times);

    bool Empty() const { return m_sorted.empty(); }
    Duration Min() const { return m_sorted.front(); }
    Duration Max() const { return m_sorted.back(); }
    /// @param percent more than 0, at most 100.
    /// @return the shortest time that this share of the requests kept within (nearest rank).
    Duration Percentile(double percent) const;

private:
    std::vector<Duration> m_sorted;
};

/// What came of many requests.
struct Tally {
    std::map<int, std::uint64_t> statuses; ///< status (or Outcome::NO_ANSWER) to how often
    std::vector<Duration> times;
    std::uint64_t bodyBytes = 0;

    void Add(const Outcome& outcome);
    void Add(const Tally& other);
};

} // namespace sender
