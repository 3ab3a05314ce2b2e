// SPDX-License-Identifier: Apache-2.0
#include "send/Timing.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace sender {
namespace {

using std::chrono::nanoseconds;

constexpr std::size_t TIME_BAR = 50;

std::string Line(const char* name, nanoseconds time) {
    return fmt::format("{:<10} {:>10.3f} ms", name, std::chrono::duration<double, std::milli>(time).count());
}

/// @return the place of a time on the bar's scale, from 0 to TIME_BAR.
std::size_t PlaceOf(nanoseconds time, nanoseconds whole) {
    const double share = static_cast<double>(time.count()) / static_cast<double>(whole.count());
    return static_cast<std::size_t>(std::lround(share * static_cast<double>(TIME_BAR)));
}

/// A bar from one time to another. However short, it can be seen.
std::string Bar(nanoseconds from, nanoseconds to, nanoseconds whole) {
    const std::size_t begin = std::min(PlaceOf(from, whole), TIME_BAR - 1);
    const std::size_t end = std::max(PlaceOf(to, whole), begin + 1);
    return std::string(begin, ' ') + std::string(end - begin, '#');
}

} // namespace

PhaseTimes TimesOf(const httpclient::Timings& timings) {
    PhaseTimes times{};
    std::transform(PHASES.begin(), PHASES.end(), times.begin(),
                   [&](httpclient::Phase phase) { return timings.of(phase); });
    return times;
}

std::string DrawTiming(const PhaseTimes& times, nanoseconds total) {
    nanoseconds sum{0};
    for (const nanoseconds time : times) {
        sum += time;
    }
    const nanoseconds whole = std::max(total, sum);
    std::string text;
    nanoseconds begin{0};
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (times[i].count() > 0) {
            text += Line(ToString(PHASES[i]), times[i]) + "  " + Bar(begin, begin + times[i], whole) + "\n";
            begin += times[i];
        }
    }
    return text + Line("total", total) + "\n";
}

} // namespace sender
