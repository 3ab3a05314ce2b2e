// SPDX-License-Identifier: Apache-2.0
// The synchronous send beside a bare libcurl loop: keep-alive GET of 128 bytes and POST of 16 KiB.
#include <string>

#include <benchmark/benchmark.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "BareLoop.h"
#include "BenchServer.h"
#include "TlsServer.h"

namespace {

constexpr size_t POST_BYTES = 16UL * 1024;

std::string Url(const char* path) {
    return "http://127.0.0.1:" + std::to_string(BenchServer().Server().Port()) + path;
}

/// Counts a request, or ends the measurement if it failed.
bool Counted(benchmark::State& state, long status) {
    if (status == 200) {
        return true;
    }
    state.SkipWithError("a request failed");
    return false;
}

void BareGet(benchmark::State& state) {
    BareLoop loop(Url("/128"));
    for ([[maybe_unused]] auto _ : state) {
        if (!Counted(state, loop.Get())) {
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BarePost(benchmark::State& state) {
    BareLoop loop(Url("/sink"));
    const std::string body(POST_BYTES, 'b');
    for ([[maybe_unused]] auto _ : state) {
        if (!Counted(state, loop.Post(body))) {
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void Library(benchmark::State& state, HTTPOPERATIONTYPE verb, const char* path, const std::string& body) {
    CHttpClient client;
    client.setPort(BenchServer().Server().Port());
    CHttpRequest request;
    request.setVerb(verb);
    request.setUrlPath(path);
    request.setContent(body);
    for ([[maybe_unused]] auto _ : state) {
        CHttpResponse response;
        if (!Counted(state, client.synSendRequest(request, response, false))) {
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void LibraryGet(benchmark::State& state) {
    Library(state, HTTPOPERATION_GET, "/128", "");
}

void LibraryPost(benchmark::State& state) {
    Library(state, HTTPOPERATION_POST, "/sink", std::string(POST_BYTES, 'b'));
}

BENCHMARK(BareGet)->Threads(1)->Threads(8)->UseRealTime();
BENCHMARK(LibraryGet)->Threads(1)->Threads(8)->UseRealTime();
BENCHMARK(BarePost)->Threads(1)->Threads(8)->UseRealTime();
BENCHMARK(LibraryPost)->Threads(1)->Threads(8)->UseRealTime();

} // namespace
