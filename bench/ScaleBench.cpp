// SPDX-License-Identifier: Apache-2.0
// What a request costs, on many threads and beside many pooled connections.
#include <algorithm>

#include <benchmark/benchmark.h>

#include <httpclient/HttpConnectionMgr.h>

#include "BenchServer.h"
#include "Descriptors.h"
#include "LibraryGet.h"
#include "Pools.h"
#include "TlsServer.h"

namespace {

static_assert(ADDRESSES == Nginx::ADDRESSES);

/// Argument: how many addresses the threads share.
void GetOnThreads(benchmark::State& state) {
    if (state.thread_index() == 0) {
        NewPool();
    }
    LibraryGet get(Nginx::Address(static_cast<int>(state.thread_index() % state.range(0))),
                   BenchServer().Server().Port());
    for ([[maybe_unused]] auto _ : state) {
        if (!get.Send()) {
            state.SkipWithError("a request failed");
        }
    }
    state.SetItemsProcessed(state.iterations());
}

/// @return how many of so many pooled connections may be open, by the process's limit of descriptors.
int64_t MostOpen(int64_t pooled) {
    constexpr int64_t UNUSED = 2; // descriptors of a connection that has not been used
    constexpr int64_t USED = 5;
    constexpr int64_t RESERVE = 100;
    const int64_t left = DescriptorLimit() - OpenDescriptorsNow() - RESERVE;
    return (left - UNUSED * pooled) / (USED - UNUSED);
}

/// Argument: how many connections are pooled, evenly at as few addresses as will take them; as many of them
/// as the limit of descriptors allows are open. The requests all go to one address.
void GetBesidePooled(benchmark::State& state) {
    constexpr int64_t PER_ADDRESS = 200;
    const int64_t addresses = (state.range(0) + PER_ADDRESS - 1) / PER_ADDRESS;
    const int64_t each = state.range(0) / addresses;
    NewPool();
    const int64_t open = std::min(each, MostOpen(state.range(0)) / addresses);
    const int port = BenchServer().Server().Port();
    bool allWell = open > 0;
    for (int i = 0; allWell && i < addresses; ++i) {
        allWell = ConnectEach(Nginx::Address(i), port, false, open);
        MakeConnections(Nginx::Address(i), port, each);
    }
    if (!allWell) {
        state.SkipWithError("the connections cannot be made");
    }
    LibraryGet get(Nginx::Address(static_cast<int>(addresses) - 1), port);
    for ([[maybe_unused]] auto _ : state) {
        if (!get.Send()) {
            state.SkipWithError("a request failed");
        }
    }
    state.counters["open"] = static_cast<double>(open * addresses);
    state.SetItemsProcessed(state.iterations());
    CHttpConnectionMgr::Finalize();
}

BENCHMARK(GetOnThreads)
    ->Arg(1)
    ->Arg(ADDRESSES)
    ->Threads(1)
    ->Threads(8)
    ->Threads(64)
    ->Threads(256)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(GetBesidePooled)
    ->Arg(1)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(6000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

} // namespace
