// SPDX-License-Identifier: Apache-2.0
// Keeps the library busy for a while, and says whether it stayed as it was: httpclient-soak
// SECONDS PAUSE PICTURE
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

#include <ace/Time_Value.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Patience.h>

#include "Samples.h"
#include "Servers.h"
#include "Setting.h"
#include "Traffic.h"
#include "Watch.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int RESTARTS = 4;
constexpr int SHORT = 180; // seconds: the pool's own sweeps, of what is idle for 30 s, would come too seldom
constexpr int SWEEP_INTERVAL = 2;
constexpr int MOST_UNEXPECTED_SHARE = 200; // one in so many

struct Options {
    int seconds = 0;
    std::chrono::milliseconds pause{0};
    std::string table;
};

void ShowProgress(const Options& options, const Sample& now, const Counts& counts) {
    constexpr int WIDTH = 30;
    const int done = static_cast<int>(WIDTH * now.second / options.seconds);
    const std::string bar = std::string(static_cast<std::size_t>(std::min(done, WIDTH)), '#') +
                            std::string(static_cast<std::size_t>(std::max(WIDTH - done, 0)), '.');
    std::fprintf(stderr,
                 "\r[%s] %4.0f s  %llu answered, %llu broken, %llu surprises; %.1f MiB, %.0f descriptors, "
                 "%.0f threads  ",
                 bar.c_str(), now.second, static_cast<unsigned long long>(counts.answered),
                 static_cast<unsigned long long>(counts.provoked) + counts.disturbed,
                 static_cast<unsigned long long>(counts.unexpected), now.heap, now.descriptors, now.threads);
}

/// Has the pool close what is idle for so many seconds.
void Sweep(std::int64_t seconds) {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(seconds);
    pool->handle_timeout(ACE_Time_Value::zero, nullptr);
}

/// Watches the traffic, and has the pool look for idle connections where its own sweeps would come too seldom.
Samples WatchTraffic(const Options& options, Servers& servers, const Counts& counts) {
    Watched run;
    run.seconds = options.seconds;
    run.restarts = RESTARTS;
    run.restart = [&servers] { servers.Restart(); };
    run.failures = [&counts] { return counts.provoked + counts.disturbed + counts.unexpected; };
    run.show = [&](const Sample& now) { ShowProgress(options, now, counts); };
    if (options.seconds < SHORT) {
        run.look = [](int second) {
            if (second % SWEEP_INTERVAL == 0) {
                Sweep(SWEEP_INTERVAL);
            }
        };
    }
    return Watch(run);
}

/// @return whether no connection is left when every idle one is closed, as it must be when nobody sends.
bool PoolIsEmptied() {
    Sweep(std::numeric_limits<std::int64_t>::min());
    const CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    return pool->m_mapHttpConn.empty() && pool->m_mapHttpsConn.empty();
}

/// A worker ends some moments after its callback. @return a sample from then on.
Sample SampleWhenThreadsHaveEnded(double threads) {
    const auto giveUp = Clock::now() + httpclient::testing::PATIENCE;
    Sample sample = Sample::Now();
    while (sample.threads > threads && Clock::now() < giveUp) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        sample = Sample::Now();
    }
    return sample;
}

int Soak(const Options& options) {
    const Setting setting;
    Servers servers(setting.address(), setting.serverDirectory());
    std::thread([] {}).join(); // a sanitizer begins a thread of its own with the first one
    const Sample before = Sample::Now();
    Traffic traffic(servers, options.pause);
    const Samples samples = WatchTraffic(options, servers, traffic.counts());

    Requirements requirements;
    requirements.Require(traffic.Stop(), "every asynchronous send calls back");
    requirements.Require(PoolIsEmptied(), "no connection stays lent out");
    CHttpConnectionMgr::Finalize();

    const Counts& counts = traffic.counts();
    std::printf(
        "%llu answered (%llu with a renewed token), %llu broken on purpose, %llu broken by restarts\n",
        static_cast<unsigned long long>(counts.answered), static_cast<unsigned long long>(counts.renewed),
        static_cast<unsigned long long>(counts.provoked), static_cast<unsigned long long>(counts.disturbed));
    for (const std::string& surprise : traffic.surprises()) {
        std::printf("surprise: %s\n", surprise.c_str());
    }
    // Not none: libcurl counts over a handle's whole life how often it sent again behind a dropped
    // connection, and fails the request after the fifth.
    requirements.Require(counts.unexpected * MOST_UNEXPECTED_SHARE <= counts.answered,
                         "hardly a request fails for no reason");
    requirements.Require(counts.answered > 0 && counts.renewed > 0 && counts.provoked > 0,
                         "every kind of traffic took place");
    requirements.RequireFlat(samples);
    requirements.RequireNothingLeft(before, SampleWhenThreadsHaveEnded(before.threads));
    if (!options.table.empty()) {
        std::ofstream(options.table) << AsTable(samples);
    }
    return requirements.allKept() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 + ServerKinds && std::string(argv[1]) == "serve") {
        Ports ports{};
        for (std::size_t i = 0; i < ServerKinds; ++i) {
            ports[i] = std::atoi(argv[4 + i]);
        }
        return Serve(argv[2], argv[3], ports, STDOUT_FILENO);
    }
    Options options;
    if (argc >= 3) {
        options.seconds = std::atoi(argv[1]);
        options.pause = std::chrono::milliseconds(std::atoi(argv[2]));
    }
    if (options.seconds < 3 || options.pause.count() < 1) {
        std::fputs("usage: httpclient-soak SECONDS PAUSE [TABLE]    PAUSE: ms between requests of a thread\n",
                   stderr);
        return 2;
    }
    options.table = argc >= 4 ? argv[3] : "";
    try {
        return Soak(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "httpclient-soak: %s\n", error.what());
        return 1;
    }
}
