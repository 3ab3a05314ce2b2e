// SPDX-License-Identifier: Apache-2.0
// Counts what a request costs, the library's beside the floor's, and checks the counts.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <set>
#include <string>

#include "Ceilings.h"
#include "Counts.h"
#include "Plan.h"

namespace {

struct Options {
    int requests = 200;
    std::string ceilings; ///< Empty: nothing is checked.
};

constexpr const char* USAGE = "usage: httpclient-cost [--requests N] [--check CEILINGS]\n";
constexpr const char* OWN = "libhttpclient.so";

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--requests") == 0) {
            options.requests = static_cast<int>(std::strtol(argv[i + 1], nullptr, 10));
        } else if (std::strcmp(argv[i], "--check") == 0) {
            options.ceilings = argv[i + 1];
        } else {
            return false;
        }
    }
    return argc % 2 == 1 && options.requests > 0;
}

void PrintRow(const char* name, const CostByWork& costs, double (*value)(const Cost&)) {
    std::printf("%-28s", name);
    for (const char* work : WORK_NAMES) {
        std::printf(" %17.1f", value(costs.at(work)));
    }
    std::printf("\n");
}

/// A row for each name that any work has; what comes once in a process leaves no more than rounding.
void PrintRows(const CostByWork& costs, std::map<std::string, double> Cost::*field) {
    constexpr double LEAST = 0.05;
    std::set<std::string> names;
    for (const char* work : WORK_NAMES) {
        for (const auto& [name, count] : costs.at(work).*field) {
            if (count >= LEAST) {
                names.insert(name);
            }
        }
    }
    for (const std::string& name : names) {
        std::printf("  %-26.26s", name.c_str());
        for (const char* work : WORK_NAMES) {
            const auto& counts = costs.at(work).*field;
            const auto found = counts.find(name);
            std::printf(" %17.1f", found == counts.end() ? 0 : found->second);
        }
        std::printf("\n");
    }
}

void PrintTable(const CostByWork& costs) {
    std::printf("\nPer request%17s", "");
    for (const char* work : WORK_NAMES) {
        std::printf(" %17s", work);
    }
    std::printf("\n");
    PrintRow("allocations", costs, [](const Cost& cost) { return cost.allocations; });
    PrintRow("system calls", costs, [](const Cost& cost) { return cost.TotalSystemCalls(); });
    PrintRows(costs, &Cost::systemCalls);
    PrintRow("instructions", costs, [](const Cost& cost) { return cost.TotalInstructions(); });
    PrintRows(costs, &Cost::instructions);
}

/// The measures of a kind of work that the floor does, too.
void AddMeasures(const std::string& name, const Cost& library, const Cost& floor, Measures& measures) {
    measures[name + ".own-instructions"] = library.InstructionsOf(OWN);
    measures[name + ".instructions-ratio"] = library.TotalInstructions() / floor.TotalInstructions();
    measures[name + ".allocations"] = library.allocations;
    measures[name + ".allocations-ratio"] = library.allocations / floor.allocations;
}

Cost Difference(Cost cost, const Cost& subtracted) {
    cost.allocations -= subtracted.allocations;
    for (const auto& [object, count] : subtracted.instructions) {
        cost.instructions[object] -= count;
    }
    return cost;
}

/// A cached token counts beyond what libcurl makes of its header line, which the floor has, too; a full pool
/// beyond a GET from one that holds nothing else.
Measures Measure(const CostByWork& costs) {
    Measures measures;
    AddMeasures("get", costs.at("library-get"), costs.at("floor-get"), measures);
    AddMeasures("post", costs.at("library-post"), costs.at("floor-post"), measures);
    const Cost added = Difference(costs.at("library-get-token"), costs.at("library-get"));
    const Cost line = Difference(costs.at("floor-get-token"), costs.at("floor-get"));
    measures["token.own-instructions"] = added.InstructionsOf(OWN);
    measures["token.instructions"] = added.TotalInstructions() - line.TotalInstructions();
    for (const std::string door : {"client", "strict"}) {
        const Cost token = Difference(costs.at(door + "-get-token"), costs.at(door + "-get-beside-token"));
        measures[door + "-token.own-instructions"] = token.InstructionsOf(OWN);
        measures[door + "-token.instructions"] = token.TotalInstructions();
        measures[door + "-token.allocations"] = token.allocations;
    }
    const Cost besidePool = Difference(costs.at("library-get-pooled"), costs.at("library-get"));
    measures["pooled.own-instructions"] = besidePool.InstructionsOf(OWN);
    measures["pooled.allocations"] = besidePool.allocations;
    for (const std::string work : {"get", "post"}) {
        for (const std::string& name : {"client-" + work, "strict-" + work}) {
            AddMeasures(name, costs.at(name), costs.at("floor-" + work), measures);
            measures[name + ".instructions"] = costs.at(name).TotalInstructions();
            measures[name + ".system-calls"] = costs.at(name).TotalSystemCalls();
        }
        measures["strict-" + work + ".instructions-to-client"] =
            costs.at("strict-" + work).TotalInstructions() / costs.at("client-" + work).TotalInstructions();
    }
    for (const std::string name : {"async-get", "async-get-20"}) {
        AddMeasures(name, costs.at(name), costs.at("floor-get"), measures);
        // How often threads wait for each other depends on who is quicker.
        const auto waits = costs.at(name).systemCalls.find("futex");
        measures[name + ".system-calls"] = costs.at(name).TotalSystemCalls() -
                                           (waits == costs.at(name).systemCalls.end() ? 0 : waits->second);
    }
    measures["strict-asyn-get.allocations"] = costs.at("strict-asyn-get").allocations;
    measures["strict-asyn-get.instructions-to-client"] =
        costs.at("strict-asyn-get").TotalInstructions() / costs.at("async-get").TotalInstructions();
    measures["token.allocations"] = added.allocations - line.allocations;
    return measures;
}

int Run(const std::string& self, const Options& options) {
    const bool instructions = HasValgrind();
    if (!instructions) {
        std::printf("valgrind is not there: instructions are not counted\n");
    }
    const bool systemCalls = httpclient::testing::MayWatchSystemCalls();
    if (!systemCalls) {
        std::printf("no child may be watched here: system calls are not counted\n");
    }
    const CostByWork costs = CountCosts(self + "-driver", options.requests, {instructions, systemCalls});
    PrintTable(costs);
    Measures measures = Measure(costs);
    measures["client-get.counting-instructions"] =
        instructions ? CountCountingInstructions(self + "-driver", options.requests) : 0;
    const auto counted = [&](const std::string& measure) {
        return (instructions || measure.find("instructions") == std::string::npos) &&
               (systemCalls || measure.find("system-calls") == std::string::npos);
    };
    std::printf("\n");
    if (!options.ceilings.empty()) {
        return CheckCeilings(options.ceilings, BUILD_TYPE, measures, counted) ? 0 : 1;
    }
    for (const auto& [name, value] : measures) {
        std::printf("  %-32s %10.3f\n", name.c_str(), value);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        static_cast<void>(std::fputs(USAGE, stderr));
        return 2;
    }
    for (const char* proxy : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
        unsetenv(proxy);
    }
    try {
        return Run(argv[0], options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
