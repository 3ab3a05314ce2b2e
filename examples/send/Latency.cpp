// SPDX-License-Identifier: Apache-2.0
#include "send/Latency.h"

#include <algorithm>
#include <cmath>

namespace sender {

Latencies::Latencies(std::vector<Duration> times) : m_sorted(std::move(times)) {
    std::sort(m_sorted.begin(), m_sorted.end());
}

Duration Latencies::Percentile(double percent) const {
    const auto rank = static_cast<size_t>(std::ceil(percent / 100 * static_cast<double>(m_sorted.size())));
    return m_sorted[std::clamp<size_t>(rank, 1, m_sorted.size()) - 1];
}

void Tally::Add(const Outcome& outcome) {
    ++statuses[outcome.status];
    times.push_back(outcome.time);
    bodyBytes += outcome.body.size();
}

void Tally::Add(const Tally& other) {
    for (const auto& [status, count] : other.statuses) {
        statuses[status] += count;
    }
    times.insert(times.end(), other.times.begin(), other.times.end());
    bodyBytes += other.bodyBytes;
}

} // namespace sender
