// SPDX-License-Identifier: Apache-2.0
// How the pool scales: threads, addresses, connections of an address, and a sweep over a full pool.
#include <string>

#include <ace/Time_Value.h>
#include <benchmark/benchmark.h>

#include <httpclient/HttpConnectionMgr.h>

#include "Memory.h"
#include "Pools.h"

namespace {

constexpr int PORT = 8080;
constexpr int PER_ADDRESS = 200;

std::string Host(int64_t number) {
    return "service-" + std::to_string(number) + ".platform.example"; // too long for a string's own room
}

/// Argument: how many addresses the threads share.
void LendAndTakeBack(benchmark::State& state) {
    if (state.thread_index() == 0) {
        NewPool();
    }
    const std::string host = Host(state.thread_index() % state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
        CHttpConnection* conn = pool->GetConn(host, PORT, false);
        if (conn == nullptr) {
            state.SkipWithError("no connection");
        } else {
            pool->ReleaseConn(conn);
        }
    }
    state.SetItemsProcessed(state.iterations());
}

/// Argument: connections of the address; the oldest is lent out all the time.
void LendBesideABusyOne(benchmark::State& state) {
    CHttpConnectionMgr* pool = NewPool();
    const std::string host = Host(0);
    MakeConnections(host, PORT, state.range(0));
    CHttpConnection* busy = pool->GetConn(host, PORT, false);
    for ([[maybe_unused]] auto _ : state) {
        pool->ReleaseConn(pool->GetConn(host, PORT, false));
    }
    pool->ReleaseConn(busy);
}

/// A sweep that finds nothing to close: the time that everyone else waits for the lock.
void SweepFullPool(benchmark::State& state) {
    CHttpConnectionMgr* pool = NewPool();
    const Memory before = MemoryNow();
    for (int i = 0; i < ADDRESSES; ++i) {
        MakeConnections(Host(i), PORT, PER_ADDRESS);
    }
    const auto connections = static_cast<double>(ADDRESSES * PER_ADDRESS);
    state.counters["connections"] = connections;
    state.counters["bytes/connection"] = (MemoryNow().allocated - before.allocated) / connections;
    for ([[maybe_unused]] auto _ : state) {
        pool->handle_timeout(ACE_Time_Value::zero, nullptr);
    }
    CHttpConnectionMgr::Finalize();
}

BENCHMARK(LendAndTakeBack)
    ->Arg(1)
    ->Arg(ADDRESSES)
    ->Threads(1)
    ->Threads(8)
    ->Threads(64)
    ->Threads(256)
    ->UseRealTime();
BENCHMARK(LendBesideABusyOne)->Arg(2)->Arg(100);
BENCHMARK(SweepFullPool)->Unit(benchmark::kMicrosecond);

} // namespace
