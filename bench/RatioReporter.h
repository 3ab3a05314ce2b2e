// SPDX-License-Identifier: Apache-2.0
/// @file
/// Prints, below the table, the library's speed over the bare loop's; remembers what failed.
#pragma once

#include <map>
#include <string>

#include <benchmark/benchmark.h>

/// Pairs "Bare/X" with "Library/X" of the same run; with repetitions it takes the medians.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter(); ///< In colours on a terminal only.
    void ReportRuns(const std::vector<Run>& reports) override;
    void Finalize() override;
    /// @return whether no benchmark has failed.
    bool AllWell() const { return m_bAllWell; }

private:
    std::map<std::string, double> m_requestsPerSecond;
    bool m_bAllWell = true;
};
