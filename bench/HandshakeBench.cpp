// SPDX-License-Identifier: Apache-2.0
// A full handshake of mutual TLS for each request, beside the bare libcurl loop.
#include <string>

#include <benchmark/benchmark.h>

#include "BareLoop.h"
#include "BenchServer.h"
#include "LibraryGet.h"
#include "TlsServer.h"

namespace {

void BareHandshake(benchmark::State& state) {
    const TlsServer& server = BenchServer();
    BareLoop loop("https://127.0.0.1:" + std::to_string(server.Server().ClosingTlsPort()) + "/128");
    loop.UseTls(server.CaFile(), server.CertificateFile(), server.KeyFile());
    for ([[maybe_unused]] auto _ : state) {
        if (loop.Get() != 200) {
            state.SkipWithError("a request failed");
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void LibraryHandshake(benchmark::State& state) {
    LibraryGet get("127.0.0.1", BenchServer().Server().ClosingTlsPort(), true);
    for ([[maybe_unused]] auto _ : state) {
        if (!get.Send()) {
            state.SkipWithError("a request failed");
        }
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BareHandshake)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(LibraryHandshake)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace
