// SPDX-License-Identifier: Apache-2.0
#include "Round.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <future>
#include <thread>

#include <sys/resource.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "StartLine.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int WARM_UP = 3;
constexpr long MOST_ERRORS = 5; // of a thread in a round: one that always fails need not fill the log
constexpr auto PATIENCE = std::chrono::seconds(60);

double CpuMicroseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return 1e6 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

/// What a thread has done.
struct Tally {
    std::vector<double> times; ///< us, of the requests that were answered.
    long errors = 0;
};

bool SendOne(Peer& peer, Tally& tally) {
    const char* what = "not the answer that was asked for";
    std::string text;
    try {
        if (peer.Send()) {
            return true;
        }
    } catch (const std::exception& failure) {
        text = failure.what();
        what = text.c_str();
    }
    if (tally.errors++ == 0) {
        std::fprintf(stderr, "a request failed: %s\n", what);
    }
    return false;
}

void SendTimed(Peer& peer, Tally& tally) {
    const auto start = Clock::now();
    if (SendOne(peer, tally)) {
        tally.times.push_back(Microseconds(Clock::now() - start).count());
    }
}

Tally RunThread(Peer& peer, const Work& work, double seconds, StartLine& line) {
    Tally tally;
    for (int i = 0; i < (work.burst ? 1 : WARM_UP); ++i) {
        SendOne(peer, tally);
    }
    line.Wait();
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    do {
        SendTimed(peer, tally);
    } while (!work.burst && Clock::now() < end && tally.errors < MOST_ERRORS);
    return tally;
}

double Median(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

Figures FiguresOf(size_t requests, double elapsed, double p50, double cpu, long errors) {
    if (requests == 0) {
        return {0, 0, 0, errors};
    }
    const auto count = static_cast<double>(requests);
    return {1e6 * count / elapsed, p50, cpu / count, errors};
}

std::atomic<int> g_answers{0};
std::atomic<int> g_right{0};

void CountAnswer(const CHttpResponse& response) {
    if (response.getStatusCode() == 200 && !response.getResponseBody().empty()) {
        ++g_right;
    }
    ++g_answers;
}

/// Sends all at once and waits for the last.
void BurstAsynchronously(CHttpClient& client, const Work& work) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(work.target.path);
    request.setAccept("*/*"); // a request without any entry is logged as an error
    g_answers = 0;
    g_right = 0;
    const auto end = Clock::now() + PATIENCE;
    for (int i = 0; i < work.threads; ++i) {
        client.asynSendRequest(request, &CountAnswer, false);
    }
    while (g_answers < work.threads && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

Figures Measure(const PeerKind& kind, const Work& work, double seconds) {
    std::vector<std::unique_ptr<Peer>> peers;
    std::vector<std::future<Tally>> threads;
    StartLine line(work.threads);
    for (int i = 0; i < work.threads; ++i) {
        peers.push_back(kind.make(work.target));
    }
    for (const auto& peer : peers) {
        threads.push_back(std::async(std::launch::async, &RunThread, std::ref(*peer), std::cref(work),
                                     seconds, std::ref(line)));
    }
    line.AwaitAll();
    const double cpu = CpuMicroseconds();
    const auto start = Clock::now();
    line.Start();
    Tally all;
    for (auto& thread : threads) {
        const Tally one = thread.get();
        all.times.insert(all.times.end(), one.times.begin(), one.times.end());
        all.errors += one.errors;
    }
    const double elapsed = Microseconds(Clock::now() - start).count();
    const double used = CpuMicroseconds() - cpu;
    const double p50 = work.burst || all.times.empty() ? elapsed : Median(all.times);
    return FiguresOf(all.times.size(), elapsed, p50, used, all.errors);
}

Figures MeasureAsynchronous(const Work& work) {
    CHttpClient client;
    client.setPort(work.target.port);
    BurstAsynchronously(client, work);
    long errors = work.threads - g_right;
    const double cpu = CpuMicroseconds();
    const auto start = Clock::now();
    BurstAsynchronously(client, work);
    const double elapsed = Microseconds(Clock::now() - start).count();
    errors += work.threads - g_right;
    return FiguresOf(static_cast<size_t>(g_right), elapsed, elapsed, CpuMicroseconds() - cpu, errors);
}
