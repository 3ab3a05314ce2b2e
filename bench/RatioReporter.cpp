// SPDX-License-Identifier: Apache-2.0
#include "RatioReporter.h"

#include <cstdio>

#include <unistd.h>

RatioReporter::RatioReporter() : ConsoleReporter(isatty(STDOUT_FILENO) != 0 ? OO_ColorTabular : OO_Tabular) {}

void RatioReporter::ReportRuns(const std::vector<Run>& reports) {
    ConsoleReporter::ReportRuns(reports);
    for (const Run& run : reports) {
        m_bAllWell &= !run.error_occurred;
        const auto rate = run.counters.find("items_per_second");
        const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
        if ((run.repetitions > 1 && !median) || rate == run.counters.end()) {
            continue;
        }
        std::string name = run.run_name.function_name + " " + run.run_name.args + " " + run.run_name.threads;
        m_requestsPerSecond[name] = rate->second;
    }
}

void RatioReporter::Finalize() {
    ConsoleReporter::Finalize();
    std::printf("\nRequests per second, library over bare loop:\n");
    const std::string prefix = "Bare";
    for (const auto& [name, bare] : m_requestsPerSecond) {
        if (name.compare(0, prefix.size(), prefix) != 0) {
            continue;
        }
        const auto library = m_requestsPerSecond.find("Library" + name.substr(prefix.size()));
        if (library != m_requestsPerSecond.end()) {
            std::printf("  %-40s %.3f\n", name.substr(prefix.size()).c_str(), library->second / bare);
        }
    }
}
