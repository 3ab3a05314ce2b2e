// SPDX-License-Identifier: Apache-2.0
// One asynchronous GET beside one synchronous: its fixed waiting rule pauses at least once.
#include <condition_variable>
#include <memory>
#include <mutex>

#include <benchmark/benchmark.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "BenchServer.h"
#include "TlsServer.h"

namespace {

std::mutex g_mutex;
std::condition_variable g_answered;
int g_answers = 0;
bool g_allWell = true;

void CountAnswer(const CHttpResponse& response) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    ++g_answers;
    g_allWell &= response.getStatusCode() == 200;
    g_answered.notify_one();
}

void WaitForAnswers(int64_t count) {
    std::unique_lock<std::mutex> lock(g_mutex);
    g_answered.wait(lock, [count] { return g_answers >= count; });
}

/// Argument: how many are in flight at once.
void AsynchronousGet(benchmark::State& state) {
    CHttpClient client;
    client.setPort(BenchServer().Server().Port());
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/128");
    request.setAccept("*/*"); // a request without any entry is logged as an error
    g_allWell = true;
    for ([[maybe_unused]] auto _ : state) {
        g_answers = 0;
        for (int64_t i = 0; i < state.range(0); ++i) {
            client.asynSendRequest(request, &CountAnswer, false);
        }
        WaitForAnswers(state.range(0));
    }
    if (!g_allWell) {
        state.SkipWithError("a request failed");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(AsynchronousGet)->Arg(1)->Arg(100)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
