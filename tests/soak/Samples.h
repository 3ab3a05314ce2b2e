// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the process uses over time, and whether it grows.
#pragma once

#include <string>
#include <vector>

/// What the process uses at one moment.
struct Sample {
    double second = 0;
    double heap = 0;   ///< MiB that are allocated
    double memory = 0; ///< MiB that are resident
    double descriptors = 0;
    double threads = 0;
    double failures = 0; ///< requests per second that failed, for whatever reason

    /// @return what the process uses now.
    static Sample Now();
};

using Samples = std::vector<Sample>;

/// @return what grew after the warm-up, in words; empty when all stayed flat. The median of the last third of
///         the time is compared with that of the third before it: the first third is the warm-up.
std::vector<std::string> FindGrowth(const Samples& samples);

/// @return a line per stretch of time, with tabs: its first second, and the highest of each number within it, so
///         that no peak is lost. tools/picture draws it.
std::string AsTable(const Samples& samples);
