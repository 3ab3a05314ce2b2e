// SPDX-License-Identifier: Apache-2.0
// Many calls under way at the same time on one loop: the library's doors beside a bare epoll loop and others. Interleaved
// rounds, medians, goals. Ends non-zero when a call failed.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <CLI/CLI.hpp>

#include "../Descriptors.h"
#include "../Progress.h"
#include "../WriteFile.h"
#include "Measurement.h"

namespace {

struct Options {
    std::vector<std::string> works; ///< Empty: all.
    std::vector<std::string> peers; ///< Empty: all.
    int rounds = 5;
    double seconds = 0.4;
    std::string json;
    std::string table;
};

/// @return those whose names are wanted; all where none is.
template <typename Named>
std::vector<Named> Wanted(const std::vector<Named>& all, const std::vector<std::string>& names) {
    std::vector<Named> wanted;
    std::copy_if(all.begin(), all.end(), std::back_inserter(wanted), [&](const Named& one) {
        return names.empty() || std::find(names.begin(), names.end(), one.name) != names.end();
    });
    return wanted;
}

template <typename Named> std::vector<std::string> NamesOf(const std::vector<Named>& all) {
    std::vector<std::string> names;
    for (const Named& one : all) {
        names.push_back(one.name);
    }
    return names;
}

std::size_t Measurements(const std::vector<Work>& works, const std::vector<CrowdKind>& crowds, int rounds) {
    std::size_t count = 0;
    for (const Work& work : works) {
        for (const CrowdKind& kind : crowds) {
            count += CanDo(kind, work) ? static_cast<std::size_t>(std::min(rounds, kind.rounds)) : 0;
        }
    }
    return count;
}

std::vector<WorkResults> CompareAll(const Options& options) {
    const std::vector<Work> works = Wanted(AllWorks(), options.works);
    const std::vector<CrowdKind> crowds = Wanted(AllCrowds(), options.peers);
    Progress progress(Measurements(works, crowds, options.rounds));
    std::vector<WorkResults> results;
    for (const Work& work : works) {
        results.push_back(Compare(work, crowds, options.rounds, [&](const CrowdKind& kind) {
            progress.Next(work.title + ": " + kind.name);
            return MeasureApart(kind, work, options.seconds);
        }));
    }
    progress.Finish();
    return results;
}

bool AnyErrors(const std::vector<WorkResults>& works) {
    return std::any_of(works.begin(), works.end(), [](const WorkResults& results) {
        return std::any_of(results.peers.begin(), results.peers.end(),
                           [](const auto& peer) { return peer.second.at("errors") > 0; });
    });
}

int Run(const Options& options) {
    const std::vector<WorkResults> results = CompareAll(options);
    const std::string table = AsTable(results);
    static_cast<void>(std::fputs(table.c_str(), stdout));
    WriteFile(options.table, table);
    WriteFile(options.json, AsJson(results));
    return AnyErrors(results) ? 1 : 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Compares clients with many calls under way, against an epoll loop on loopback.");
    app.add_option("--work", options.works, "all unless given")->check(CLI::IsMember(NamesOf(AllWorks())));
    app.add_option("--peer", options.peers, "all unless given")->check(CLI::IsMember(NamesOf(AllCrowds())));
    app.add_option("--rounds", options.rounds, "rounds (5)")->check(CLI::Range(1, 1000));
    app.add_option("--seconds", options.seconds, "of each peer in a round (0.4)")
        ->check(CLI::Range(0.01, 10.0));
    app.add_option("--table", options.table, "file for the table");
    app.add_option("--json", options.json, "file for all figures");
    CLI11_PARSE(app, argc, argv);
    for (const char* proxy : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
        unsetenv(proxy);
    }
    RaiseDescriptorLimit();
    try {
        return Run(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
