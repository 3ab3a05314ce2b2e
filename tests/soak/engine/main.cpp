// SPDX-License-Identifier: Apache-2.0
// Keeps thousands of asynchronous calls under way for a while, and says whether each had its outcome and whether the
// process stayed as it was: httpclient-soak-calls SECONDS IN-FLIGHT [TABLE]
// What both soaks do is in Watch and Samples. What is left alike in their mains is the list of what each watches.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include <sys/resource.h>

#include <httpclient/testing/Environment.h>

#include "Samples.h"
#include "Watch.h"
#include "engine/CallTraffic.h"
#include "engine/FaultyServer.h"

namespace {

constexpr int RESTARTS = 2;

struct Options {
    int seconds = 0;
    std::size_t inFlight = 0;
    std::string table;
};

Samples WatchTraffic(const Options& options, FaultyServer& server, const CallCounts& counts) {
    Watched run;
    run.seconds = options.seconds;
    run.restarts = RESTARTS;
    run.restart = [&server] { server.Restart(); };
    run.failures = [&counts] { return counts.provoked + counts.disturbed + counts.unexpected; };
    run.show = [&](const Sample& now) {
        std::fprintf(stderr, "\r%4.0f of %d s  %llu calls ended; %.1f MiB, %.0f descriptors, %.0f threads  ",
                     now.second, options.seconds, static_cast<unsigned long long>(counts.ended()), now.heap,
                     now.descriptors, now.threads);
    };
    return Watch(run);
}

/// Sends until the time is over. @return what the process used.
Samples RunTraffic(const Options& options, Requirements& requirements) {
    FaultyServer server;
    CallTraffic traffic(server, options.inFlight);
    Samples samples = WatchTraffic(options, server, traffic.counts());
    requirements.Require(traffic.Stop(), "every call ends");
    const CallCounts& counts = traffic.counts();
    const auto count = [](const std::atomic<std::uint64_t>& value) {
        return static_cast<unsigned long long>(value);
    };
    std::printf("%llu calls: %llu answered, %llu failed as they should, %llu failed at restarts; latest "
                "deadline kept to "
                "within %lld ms\n%s",
                count(counts.started), count(counts.answered), count(counts.provoked),
                count(counts.disturbed), static_cast<long long>(counts.latest),
                traffic.DescribeKinds().c_str());
    for (const std::string& surprise : traffic.surprises()) {
        std::printf("surprise: %s\n", surprise.c_str());
    }
    requirements.Require(counts.unexpected == 0, "every outcome is the one that it must be");
    requirements.Require(counts.ended() == counts.started && counts.again == 0 && counts.lost == 0,
                         "one outcome for each call");
    requirements.Require(counts.answered > 0 && counts.provoked > 0, "every kind of call took place");
    return samples;
}

int Soak(const Options& options) {
    std::thread([] {}).join(); // a sanitizer begins a thread of its own with the first one
    Requirements requirements;
    const Sample before = Sample::Now();
    const Samples samples = RunTraffic(options, requirements);
    requirements.RequireFlat(samples);
    requirements.RequireNothingLeft(before, Sample::Now());
    if (!options.table.empty()) {
        std::ofstream(options.table) << AsTable(samples);
    }
    return requirements.allKept() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "serve") {
        return ServeFaultily(std::atoi(argv[2]), STDOUT_FILENO);
    }
    Options options;
    if (argc >= 3) {
        options.seconds = std::atoi(argv[1]);
        options.inFlight = static_cast<std::size_t>(std::atoi(argv[2]));
    }
    if (options.seconds < 3 || options.inFlight < 1) {
        std::fputs("usage: httpclient-soak-calls SECONDS IN-FLIGHT [TABLE]\n", stderr);
        return 2;
    }
    options.table = argc >= 4 ? argv[3] : "";
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    const httpclient::testing::ScopedEnvironment log("OVEX_TRACE_FILE", "/dev/null");
    try {
        return Soak(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "httpclient-soak-calls: %s\n", error.what());
        return 1;
    }
}
