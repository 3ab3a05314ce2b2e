// SPDX-License-Identifier: Apache-2.0
// The library beside its peers: interleaved rounds, medians, and ratios to the floor of the same round.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <set>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include <httpclient/HttpConnectionMgr.h>

#include "../TlsServer.h"
#include "../cost/CachedToken.h"
#include "Results.h"
#include "SlowServer.h"

namespace {

struct Options {
    std::vector<std::string> works; ///< Empty: all.
    std::vector<std::string> peers; ///< Empty: all; the floor always takes part.
    int rounds = 7;
    double seconds = 0.3;
    std::string json;
    std::string svg;
    std::string table;
};

bool Wanted(const std::vector<std::string>& wanted, const std::string& name) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

void ShowProgress(size_t done, size_t all, const std::string& what) {
    constexpr size_t WIDTH = 30;
    if (isatty(STDERR_FILENO) == 0)
        return;
    const size_t filled = done * WIDTH / all;
    std::fprintf(stderr, "\r[%s%s] %zu/%zu %-50.50s", std::string(filled, '#').c_str(),
                 std::string(WIDTH - filled, ' ').c_str(), done, all, what.c_str());
    if (done == all)
        std::fprintf(stderr, "\n");
}

/// A name, and how it is measured.
struct Contestant {
    std::string name;
    std::function<Figures(const Work&)> measure;
};

std::vector<Contestant> ContestantsOf(const Work& work, const Options& options) {
    std::vector<Contestant> all;
    for (const PeerKind& peer : AllPeers()) {
        if (work.target.tls && !peer.speaksTls)
            continue;
        if (peer.name == "floor" || Wanted(options.peers, peer.name))
            all.push_back({peer.name, [&peer, &options](const Work& one) {
                               return Measure(peer, one, options.seconds);
                           }});
        if (work.burst && peer.name == "libhttpclient" && Wanted(options.peers, peer.name))
            all.push_back({"libhttpclient, asynchronous", &MeasureAsynchronous});
    }
    return all;
}

WorkResults Compare(const Work& work, const Options& options, size_t& done, size_t all) {
    std::vector<Contestant> contestants = ContestantsOf(work, options);
    std::map<std::string, std::vector<Figures>> figures;
    std::set<std::string> failed;
    for (int round = 0; round < options.rounds; ++round) {
        for (size_t i = 0; i < contestants.size(); ++i) {
            // Each round begins with another, so that none always follows the same neighbour.
            const Contestant& one = contestants[(i + static_cast<size_t>(round)) % contestants.size()];
            if (failed.count(one.name) != 0)
                continue;
            try {
                figures[one.name].push_back(one.measure(work));
            } catch (const std::exception& failure) {
                std::fprintf(stderr, "\n%s: %s is left out: %s\n", work.name.c_str(), one.name.c_str(),
                             failure.what());
                failed.insert(one.name);
            }
        }
        ShowProgress(++done, all, work.title);
    }
    if (failed.count("floor") != 0)
        throw std::runtime_error(work.name + ": the floor failed");
    WorkResults results{work.name, work.title, {}};
    for (const Contestant& one : contestants)
        if (failed.count(one.name) == 0)
            results.results.push_back(Summarise(one.name, figures[one.name], figures["floor"]));
    return results;
}

void WriteFile(const std::string& path, const std::string& text) {
    if (!path.empty() && !(std::ofstream(path) << text))
        throw std::runtime_error("cannot write " + path);
}

int Run(const Options& options) {
    const SlowServer slow;
    const TlsServer server;
    CacheToken("/1*");
    SwitchIdentity(false);

    Target client;
    client.ca = server.CaFile();
    client.certificate = server.CertificateFile();
    client.key = server.KeyFile();
    std::vector<Work> works;
    for (Work& work : AllWorks(server.Server(), slow.Port(), client))
        if (Wanted(options.works, work.name))
            works.push_back(std::move(work));

    std::vector<WorkResults> results;
    size_t done = 0;
    const size_t all = works.size() * static_cast<size_t>(options.rounds);
    for (const Work& work : works)
        results.push_back(Compare(work, options, done, all));
    const std::string table = Table(results);
    std::fputs(table.c_str(), stdout);
    WriteFile(options.table, table);
    WriteFile(options.json, Json(results));
    WriteFile(options.svg, Svg(results));
    CHttpConnectionMgr::Finalize();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Compares the library with its peers, against nginx on loopback.");
    app.add_option("--work", options.works,
                   "get, get-8, get-1m, post, token, tls, connect, connect-tls, burst (all)");
    app.add_option("--peer", options.peers, "by name; the floor always takes part (all)");
    app.add_option("--rounds", options.rounds, "rounds (7)")->check(CLI::Range(1, 1000));
    app.add_option("--seconds", options.seconds, "of each peer in a round (0.3)")
        ->check(CLI::Range(0.01, 60.0));
    app.add_option("--table", options.table, "file for the table");
    app.add_option("--json", options.json, "file for all figures");
    app.add_option("--svg", options.svg, "file for the picture");
    CLI11_PARSE(app, argc, argv);
    for (const char* proxy : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"})
        unsetenv(proxy);
    try {
        return Run(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
