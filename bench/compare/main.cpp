// SPDX-License-Identifier: Apache-2.0
// The library beside its peers: interleaved rounds, medians, and ratios to the floor of the same round. Ends
// non-zero when a request failed.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <CLI/CLI.hpp>

#include <httpclient/HttpConnectionMgr.h>

#include "../Descriptors.h"
#include "../Progress.h"
#include "../TlsServer.h"
#include "../TokenService.h"
#include "../WriteFile.h"
#include "../cost/CachedToken.h"
#include "Contest.h"
#include "SlowServer.h"

namespace {

struct Options {
    std::vector<std::string> works; ///< Empty: all.
    std::vector<std::string> peers; ///< Empty: all; the floor always takes part.
    int rounds = 7;
    double seconds = 0.3;
    std::string json;
    std::string table;
};

std::vector<Work> WorksOf(const Options& options, const TlsServer& server, const SlowServer& slow) {
    Target client;
    client.ca = server.CaFile();
    client.certificate = server.CertificateFile();
    client.key = server.KeyFile();
    const Nginx& nginx = server.Server();
    std::vector<Work> works = AllWorks({nginx.Port(), nginx.ClosingPort(), nginx.TlsPort(),
                                        nginx.ClosingTlsPort(), nginx.ResumingTlsPort(), slow.Port()},
                                       client);
    const auto unwanted = [&](const Work& work) {
        const auto& wanted = options.works;
        return !wanted.empty() && std::find(wanted.begin(), wanted.end(), work.name) == wanted.end();
    };
    works.erase(std::remove_if(works.begin(), works.end(), unwanted), works.end());
    return works;
}

std::vector<WorkResults> CompareAll(const std::vector<Work>& works, const Options& options) {
    size_t all = 0;
    for (const Work& work : works) {
        all += ContestantsOf(work, options.peers).size() * static_cast<size_t>(options.rounds);
    }
    Progress progress(all);
    std::vector<WorkResults> results;
    for (const Work& work : works) {
        results.push_back(
            Compare(work, ContestantsOf(work, options.peers), options.rounds, options.seconds,
                    [&](const std::string& contestant) { progress.Next(work.title + ": " + contestant); }));
    }
    progress.Finish();
    return results;
}

bool AnyErrors(const std::vector<WorkResults>& works) {
    return std::any_of(works.begin(), works.end(), [](const WorkResults& work) {
        return std::any_of(work.results.begin(), work.results.end(),
                           [](const Result& result) { return result.median.errors > 0; });
    });
}

int Run(const Options& options) {
    const SlowServer slow;
    const TlsServer server;
    const TokenService tokens(server.Authority());
    CacheToken("/1*");
    SwitchIdentity(false);
    const std::vector<WorkResults> results = CompareAll(WorksOf(options, server, slow), options);
    CHttpConnectionMgr::Finalize();
    const std::string table = AsTable(results);
    static_cast<void>(std::fputs(table.c_str(), stdout));
    WriteFile(options.table, table);
    WriteFile(options.json, AsJson(results));
    return AnyErrors(results) ? 1 : 0;
}

std::vector<std::string> PeerNames() {
    std::vector<std::string> names;
    for (const Contestant& one : AllContestants()) {
        names.push_back(one.name);
    }
    return names;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Compares the library with its peers, against nginx on loopback.");
    app.add_option("--work", options.works, "all unless given")->check(CLI::IsMember(WorkNames()));
    app.add_option("--peer", options.peers, "all unless given; the floor always takes part")
        ->check(CLI::IsMember(PeerNames()));
    app.add_option("--rounds", options.rounds, "rounds (7)")->check(CLI::Range(1, 1000));
    app.add_option("--seconds", options.seconds, "of each peer in a round (0.3)")
        ->check(CLI::Range(0.01, 60.0));
    app.add_option("--table", options.table, "file for the table");
    app.add_option("--json", options.json, "file for all figures");
    CLI11_PARSE(app, argc, argv);
    for (const char* proxy : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
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
