// SPDX-License-Identifier: Apache-2.0
#include "Samples.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <malloc.h>
#include <unistd.h>

#include <httpclient/testing/ResourceListener.h>

namespace {

constexpr double MIB = 1024.0 * 1024.0;
constexpr std::ptrdiff_t MOST_LINES =
    200; // so that the picture of a long run is as small as that of a short one

/// Something that must not grow by more than this.
struct Limit {
    const char* name;
    double Sample::*value;
    double absolute;
    double relative;
};

constexpr Limit LIMITS[] = {
    // Connections come and go with the chance of the moment.
    {"descriptors", &Sample::descriptors, 12, 0.1},
    {"threads", &Sample::threads, 6, 0.1},
#ifndef SOAK_SANITIZED // a sanitizer keeps what was freed
    {"heap MiB", &Sample::heap, 0.5, 0.05},
    {"resident MiB", &Sample::memory, 2, 0.1},
#endif
};

double Median(Samples::const_iterator first, Samples::const_iterator last, double Sample::*value) {
    std::vector<double> values;
    for (auto sample = first; sample != last; ++sample) {
        values.push_back((*sample).*value);
    }
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

double ResidentMiB() {
    std::ifstream file("/proc/self/statm");
    double total = 0;
    double resident = 0;
    file >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / MIB;
}

} // namespace

Sample Sample::Now() {
    const auto resources = httpclient::testing::Resources::Now();
    const struct mallinfo2 heap = mallinfo2();
    Sample sample;
    sample.heap = static_cast<double>(heap.uordblks + heap.hblkhd) / MIB;
    sample.memory = ResidentMiB();
    sample.descriptors = static_cast<double>(resources.descriptors);
    sample.threads = static_cast<double>(resources.threads);
    return sample;
}

std::vector<std::string> FindGrowth(const Samples& samples) {
    const auto third = static_cast<Samples::difference_type>(samples.size() / 3);
    std::vector<std::string> growth;
    for (const Limit& limit : LIMITS) {
        const double before = Median(samples.begin() + third, samples.begin() + 2 * third, limit.value);
        const double after = Median(samples.begin() + 2 * third, samples.end(), limit.value);
        if (after <= before + limit.absolute + before * limit.relative) {
            continue;
        }
        char text[100];
        std::snprintf(text, sizeof text, "%s: from %.1f to %.1f", limit.name, before, after);
        growth.emplace_back(text);
    }
    return growth;
}

std::string AsTable(const Samples& samples) {
    constexpr double Sample::*COLUMNS[] = {&Sample::heap, &Sample::memory, &Sample::descriptors,
                                           &Sample::threads, &Sample::failures};
    const auto all = static_cast<std::ptrdiff_t>(samples.size());
    const std::ptrdiff_t stretch = all / MOST_LINES + 1;
    std::ostringstream table;
    for (std::ptrdiff_t first = 0; first < all; first += stretch) {
        const auto begin = samples.begin() + first;
        const auto end = samples.begin() + std::min(first + stretch, all);
        table << begin->second;
        for (const auto column : COLUMNS) {
            const auto lower = [column](const Sample& one, const Sample& other) {
                return one.*column < other.*column;
            };
            table << '\t' << (*std::max_element(begin, end, lower)).*column;
        }
        table << '\n';
    }
    return table.str();
}
