// SPDX-License-Identifier: Apache-2.0
#include "Round.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>

#include <sys/resource.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int WARM_UP = 3;

double CpuMicroseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return 1e6 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

void SendOne(Peer& peer) {
    if (!peer.Send())
        throw std::runtime_error("a request failed");
}

/// Sends until the end. @return how long each request took, in us.
std::vector<double> SendUntil(Peer& peer, Clock::time_point end) {
    std::vector<double> times;
    for (Clock::time_point now = Clock::now(); now < end;) {
        SendOne(peer);
        const Clock::time_point after = Clock::now();
        times.push_back(Microseconds(after - now).count());
        now = after;
    }
    return times;
}

double Median(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<std::unique_ptr<Peer>> WarmPeers(const PeerKind& kind, const Work& work) {
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < work.threads; ++i) {
        peers.push_back(kind.make(work.target));
        for (int j = 0; !work.burst && j < WARM_UP; ++j)
            SendOne(*peers.back());
    }
    return peers;
}

/// All the threads' times.
std::vector<double> RunThreads(const std::vector<std::unique_ptr<Peer>>& peers, const Work& work,
                               double seconds) {
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    std::vector<std::future<std::vector<double>>> threads;
    threads.reserve(peers.size());
    for (const auto& peer : peers)
        threads.push_back(std::async(std::launch::async, [&peer, &work, end] {
            if (!work.burst)
                return SendUntil(*peer, end);
            SendOne(*peer);
            return std::vector<double>{0};
        }));
    std::vector<double> all;
    for (auto& thread : threads) {
        const std::vector<double> times = thread.get();
        all.insert(all.end(), times.begin(), times.end());
    }
    return all;
}

Figures FiguresOf(size_t requests, double elapsed, double p50, double cpu) {
    const auto count = static_cast<double>(requests);
    return {1e6 * count / elapsed, p50, cpu / count};
}

std::atomic<int> g_answers{0};

void CountAnswer(const CHttpResponse& response) {
    if (response.getStatusCode() == 200)
        g_answers.fetch_add(1);
}

} // namespace

Figures Measure(const PeerKind& kind, const Work& work, double seconds) {
    const auto peers = WarmPeers(kind, work);
    const double cpu = CpuMicroseconds();
    const auto start = Clock::now();
    std::vector<double> times = RunThreads(peers, work, seconds);
    const double elapsed = Microseconds(Clock::now() - start).count();
    return FiguresOf(times.size(), elapsed, work.burst ? elapsed : Median(times), CpuMicroseconds() - cpu);
}

Figures MeasureAsynchronous(const Work& work) {
    CHttpClient client;
    client.setPort(work.target.port);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(work.target.path);
    request.setAccept("*/*"); // a request without any entry is logged as an error
    g_answers = 0;
    const double cpu = CpuMicroseconds();
    const auto start = Clock::now();
    for (int i = 0; i < work.threads; ++i)
        client.asynSendRequest(request, &CountAnswer, false);
    while (g_answers < work.threads && Clock::now() - start < std::chrono::seconds(30))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (g_answers < work.threads)
        throw std::runtime_error("an asynchronous request failed");
    const double elapsed = Microseconds(Clock::now() - start).count();
    return FiguresOf(static_cast<size_t>(work.threads), elapsed, elapsed, CpuMicroseconds() - cpu);
}
