// SPDX-License-Identifier: Apache-2.0
#include "send/Histogram.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <map>

#include <fmt/format.h>

namespace sender {
namespace {

constexpr std::size_t LONGEST_BAR = 50;

/// The range that a time is in: up to 2 to the power of this, in microseconds.
int RangeOf(Duration time) {
    const double micros = std::chrono::duration<double, std::micro>(time).count();
    return micros <= 1 ? 0 : static_cast<int>(std::ceil(std::log2(micros)));
}

std::string BoundOf(int range) {
    return fmt::format("{:.3f} ms", std::ldexp(1.0, range) / 1000);
}

} // namespace

std::string DrawHistogram(const std::vector<Duration>& times) {
    std::map<int, std::size_t> counts;
    std::size_t most = 0;
    for (const Duration& time : times) {
        most = std::max(most, ++counts[RangeOf(time)]);
    }
    std::string text;
    if (counts.empty()) {
        return text;
    }
    for (int range = counts.begin()->first; range <= counts.rbegin()->first; ++range) {
        const auto found = counts.find(range);
        const std::size_t count = found == counts.end() ? 0 : found->second;
        // Who was there is seen: a bar of one at least.
        const std::size_t length = count == 0 ? 0 : std::max<std::size_t>(1, count * LONGEST_BAR / most);
        text += fmt::format("{:>16} {:>9} {}", BoundOf(range), count, std::string(length, '#'));
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

} // namespace sender
