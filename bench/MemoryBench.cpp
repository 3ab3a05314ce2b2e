// SPDX-License-Identifier: Apache-2.0
// What connections that are kept, and asynchronous requests that are under way, take of the process. The
// counters are what is measured; the times are those of making them.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include <benchmark/benchmark.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "BenchServer.h"
#include "Descriptors.h"
#include "Memory.h"
#include "Pools.h"
#include "TlsServer.h"

namespace {

constexpr int CONNECTIONS = 200;
constexpr int IN_FLIGHT = 100;
constexpr auto PATIENCE = std::chrono::seconds(60);

/// Connections that have sent one request each, and wait in the pool for the next.
void IdleConnections(benchmark::State& state, bool tls) {
    const Nginx& server = BenchServer().Server();
    const int port = tls ? server.TlsPort() : server.Port();
    for ([[maybe_unused]] auto _ : state) {
        NewPool();
        // What the first request of the process makes for all of them is there before.
        bool allWell = ConnectEach("127.0.0.1", port, tls, 1);
        NewPool();
        TrimMemory();
        const Memory before = MemoryNow();
        const int descriptors = OpenDescriptorsNow();
        allWell &= ConnectEach("127.0.0.1", port, tls, CONNECTIONS);
        const Memory after = MemoryNow();
        state.counters["allocated/conn"] = (after.allocated - before.allocated) / CONNECTIONS;
        state.counters["resident/conn"] = (after.resident - before.resident) / CONNECTIONS;
        state.counters["descriptors/conn"] =
            static_cast<double>(OpenDescriptorsNow() - descriptors) / CONNECTIONS;
        if (!allWell) {
            state.SkipWithError("a request failed");
        }
    }
    CHttpConnectionMgr::Finalize();
}

void IdlePlainConnections(benchmark::State& state) {
    IdleConnections(state, false);
}

void IdleTlsConnections(benchmark::State& state) {
    IdleConnections(state, true);
}

std::atomic<int> g_answers{0};
std::atomic<int> g_failures{0};

void CountAnswer(const CHttpResponse& response) {
    if (response.getStatusCode() != 200) {
        ++g_failures;
    }
    ++g_answers;
}

struct Peak {
    double allocated = 0;
    double resident = 0;
    int threads = 0;
};

/// Sends all, and watches until the last has been answered.
Peak Burst(CHttpClient& client) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/128");
    request.setAccept("*/*"); // a request without any entry is logged as an error
    g_answers = 0;
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    Peak peak;
    for (int i = 0; i < IN_FLIGHT; ++i) {
        client.asynSendRequest(request, &CountAnswer, false);
    }
    while (g_answers < IN_FLIGHT && std::chrono::steady_clock::now() < end) {
        const Memory now = MemoryNow();
        peak.allocated = std::max(peak.allocated, now.allocated);
        peak.resident = std::max(peak.resident, now.resident);
        peak.threads = std::max(peak.threads, ThreadsNow());
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return peak;
}

/// Requests that are under way at once. Their connections have been used before: what those take
/// is told above.
void AsynchronousInFlight(benchmark::State& state) {
    CHttpClient client;
    client.setPort(BenchServer().Server().Port());
    g_failures = 0;
    for ([[maybe_unused]] auto _ : state) {
        NewPool();
        const int descriptors = OpenDescriptorsNow();
        Burst(client);
        state.counters["descriptors/conn"] =
            static_cast<double>(OpenDescriptorsNow() - descriptors) / IN_FLIGHT;
        TrimMemory();
        const Memory before = MemoryNow();
        const int threads = ThreadsNow();
        const Peak peak = Burst(client);
        state.counters["allocated/request"] = (peak.allocated - before.allocated) / IN_FLIGHT;
        state.counters["resident/request"] = (peak.resident - before.resident) / IN_FLIGHT;
        state.counters["threads/request"] = static_cast<double>(peak.threads - threads) / IN_FLIGHT;
        if (g_answers < IN_FLIGHT || g_failures > 0) {
            state.SkipWithError("a request failed");
        }
    }
}

BENCHMARK(IdlePlainConnections)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(IdleTlsConnections)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(AsynchronousInFlight)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
