// SPDX-License-Identifier: Apache-2.0
// Keeps thousands of asynchronous calls under way for a while, and says whether each had its outcome and whether the
// process stayed as it was: httpclient-soak-calls SECONDS IN-FLIGHT [TABLE]
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
#include <unistd.h>

#include <httpclient/testing/Environment.h>

#include "Samples.h"
#include "engine/CallTraffic.h"
#include "engine/FaultyServer.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int RESTARTS = 2; // in all, and one a minute at least

struct Options {
    int seconds = 0;
    std::size_t inFlight = 0;
    std::string table;
};

/// Samples every second, and restarts the server now and then.
Samples Watch(const Options& options, FaultyServer& server, const CallCounts& counts) {
    const bool shown = isatty(STDERR_FILENO) != 0;
    const int interval = std::min(60, std::max(1, options.seconds / (RESTARTS + 1)));
    const auto start = Clock::now();
    Samples samples;
    double failuresBefore = 0;
    for (int second = 1; second <= options.seconds; ++second) {
        std::this_thread::sleep_until(start + std::chrono::seconds(second));
        Sample now = Sample::Now();
        now.second = std::chrono::duration<double>(Clock::now() - start).count();
        const auto failures = static_cast<double>(counts.provoked + counts.disturbed + counts.unexpected);
        now.failures = failures - std::exchange(failuresBefore, failures);
        samples.push_back(now);
        if (shown) {
            std::fprintf(stderr,
                         "\r%4.0f of %d s  %llu calls ended; %.1f MiB, %.0f descriptors, %.0f threads  ",
                         now.second, options.seconds, static_cast<unsigned long long>(counts.ended()),
                         now.heap, now.descriptors, now.threads);
        }
        if (second % interval == 0 && second < options.seconds - 1) {
            server.Restart();
        }
    }
    if (shown) {
        std::fputc('\n', stderr);
    }
    return samples;
}

/// Says what is not kept.
class Requirements {
public:
    void Require(bool kept, const std::string& promise) {
        if (!kept) {
            std::printf("FAILED: %s\n", promise.c_str());
            m_allKept = false;
        }
    }
    bool allKept() const { return m_allKept; }

private:
    bool m_allKept = true;
};

/// Sends until the time is over. @return what the process used.
Samples RunTraffic(const Options& options, Requirements& requirements) {
    FaultyServer server;
    CallTraffic traffic(server, options.inFlight);
    Samples samples = Watch(options, server, traffic.counts());
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
    for (const std::string& growth : FindGrowth(samples)) {
        requirements.Require(false, "it stays flat after the warm-up; " + growth);
    }
    const Sample after = Sample::Now();
    requirements.Require(after.descriptors <= before.descriptors + 2,
                         "all descriptors are closed in the end"); // log, random
    requirements.Require(after.threads <= before.threads, "all threads end");
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
