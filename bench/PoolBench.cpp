// SPDX-License-Identifier: Apache-2.0
// How the pool scales: threads, addresses, connections of an address, and a sweep over a full pool.
#include <malloc.h>

#include <string>
#include <vector>

#include <ace/Time_Value.h>
#include <benchmark/benchmark.h>

#include <httpclient/HttpConnectionMgr.h>

namespace {

constexpr unsigned int PORT = 8080;
constexpr int ADDRESSES = 30;
constexpr unsigned int PER_ADDRESS = 200;

std::string Host(int64_t number) {
    return "service-" + std::to_string(number) + ".platform.example"; // too long for a string's own room
}

/// Borrows so many connections of a host at once and gives them back.
void Fill(const std::string& host, int64_t connections) {
    std::vector<CHttpConnection*> lent;
    for (int64_t i = 0; i < connections; ++i)
        lent.push_back(CHttpConnectionMgr::Instance()->GetConn(host, PORT, false));
    for (CHttpConnection* conn : lent)
        CHttpConnectionMgr::Instance()->ReleaseConn(conn);
}

/// A new pool, without idle connections that the sweep would take.
CHttpConnectionMgr* NewPool() {
    CHttpConnectionMgr::Finalize();
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(3600);
    pool->ResizeConnPool(300, ADDRESSES);
    return pool;
}

/// Argument: how many addresses the threads share.
void LendAndTakeBack(benchmark::State& state) {
    if (state.thread_index() == 0)
        NewPool();
    const std::string host = Host(state.thread_index() % state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
        CHttpConnection* conn = pool->GetConn(host, PORT, false);
        if (conn == nullptr)
            state.SkipWithError("no connection");
        else
            pool->ReleaseConn(conn);
    }
    state.SetItemsProcessed(state.iterations());
}

/// Argument: connections of the address; the oldest is lent out all the time.
void LendBesideABusyOne(benchmark::State& state) {
    CHttpConnectionMgr* pool = NewPool();
    const std::string host = Host(0);
    Fill(host, state.range(0));
    CHttpConnection* busy = pool->GetConn(host, PORT, false);
    for ([[maybe_unused]] auto _ : state)
        pool->ReleaseConn(pool->GetConn(host, PORT, false));
    pool->ReleaseConn(busy);
}

/// A sweep that finds nothing to close: the time that everyone else waits for the lock.
void SweepFullPool(benchmark::State& state) {
    CHttpConnectionMgr* pool = NewPool();
    const auto before = mallinfo2().uordblks;
    for (int i = 0; i < ADDRESSES; ++i)
        Fill(Host(i), PER_ADDRESS);
    const auto connections = static_cast<double>(ADDRESSES * PER_ADDRESS);
    state.counters["connections"] = connections;
    state.counters["bytes/connection"] = static_cast<double>(mallinfo2().uordblks - before) / connections;
    for ([[maybe_unused]] auto _ : state)
        pool->handle_timeout(ACE_Time_Value::zero, nullptr);
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
