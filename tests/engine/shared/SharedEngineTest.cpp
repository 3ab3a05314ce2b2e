// SPDX-License-Identifier: Apache-2.0
// The shared engine beside the pool of CHttpClient's connections: a host that tunes and ends the one means both. All
// of it through what the library exports.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/LoopbackServer.h>

using httpclient::Client;
using httpclient::ClientOptions;
using httpclient::Engine;
using httpclient::EngineOptions;
using httpclient::Method;
using httpclient::Request;
using httpclient::Result;
using httpclient::testing::LoopbackServer;
using httpclient::testing::RecordedRequest;
using httpclient::testing::Respond;

namespace {

// Each test has a process of its own: the shared engine is configured once in it.

Client ClientOf(const LoopbackServer& server) {
    return Client(ClientOptions("http://" + server.authority()).timeout(std::chrono::seconds(20)));
}

/// Sends a GET. @return whether it was answered over a kept connection.
bool GetReused(const Client& client) {
    const Result result = client.Send(Request(Method::Get, "/"));
    EXPECT_TRUE(result) << result.failure().message();
    return result && result->reusedConnection();
}

LoopbackServer::Handler Answering() {
    return [](const RecordedRequest&) { return Respond(200, {}, "answer"); };
}

TEST(SharedEngine, IsEndedWithThePoolAndItsNextUseStartsAnother) {
    const LoopbackServer server(Answering());
    const Client client = ClientOf(server);
    EXPECT_FALSE(GetReused(client));
    EXPECT_TRUE(GetReused(client));
    CHttpConnectionMgr::Finalize();
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_FALSE(GetReused(client));
    EXPECT_TRUE(GetReused(client));
    CHttpConnectionMgr::Finalize();
}

TEST(SharedEngine, IsNotStartedByTheEndOfThePool) {
    CHttpConnectionMgr::Finalize();
    EXPECT_NO_THROW(Engine::Configure(EngineOptions())) << "it was not used yet";
    Engine::Shared();
    EXPECT_THROW(Engine::Configure(EngineOptions()), std::logic_error);
    CHttpConnectionMgr::Finalize();
    EXPECT_THROW(Engine::Configure(EngineOptions()), std::logic_error) << "the next one has the same options";
}

TEST(SharedEngine, KeepsConnectionsNoLongerThanThePoolIsTold) {
    const LoopbackServer server(Answering());
    const Client client = ClientOf(server);
    EXPECT_FALSE(GetReused(client));
    EXPECT_TRUE(GetReused(client));
    CHttpConnectionMgr::Instance()->SetRlsTime(0);
    GetReused(client);
    EXPECT_TRUE(server.WaitForOpenConnections(0)) << "the engine's own thread closes it";
    CHttpConnectionMgr::Instance()->SetRlsTime(30);
    EXPECT_FALSE(GetReused(client));
    EXPECT_TRUE(GetReused(client));
    CHttpConnectionMgr::Finalize();
}

/// How many connections six calls at once make when two or three of them have to be under way together.
unsigned int ConnectionsOfCallsAtOnce(unsigned int together) {
    const LoopbackServer server([](const RecordedRequest&) {
        return httpclient::testing::Delayed(Respond(200, {}, "answer"), std::chrono::milliseconds(50));
    });
    const Client client = ClientOf(server);
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 3 * together; ++thread) {
        threads.emplace_back([&client] { GetReused(client); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return server.connectionsAccepted();
}

TEST(SharedEngine, TakesARaisedLimitOfConnectionsAndNoLowerOne) {
    Engine::Configure(EngineOptions().maxConnections(1, 100));
    EXPECT_EQ(ConnectionsOfCallsAtOnce(2), 1U);
    CHttpConnectionMgr::Instance()->SetMaxConnPerAddr(2);
    EXPECT_EQ(ConnectionsOfCallsAtOnce(2), 2U);
    CHttpConnectionMgr::Instance()->ResizeConnPool(3, 1);
    EXPECT_EQ(ConnectionsOfCallsAtOnce(3), 3U);
    CHttpConnectionMgr::Instance()->SetMaxConnPerAddr(1);
    EXPECT_EQ(ConnectionsOfCallsAtOnce(3), 3U);
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(ConnectionsOfCallsAtOnce(3), 3U) << "the next life begins with what was raised";
    CHttpConnectionMgr::Finalize();
}

/// Runs something on a thread whose cancellation is pending: it is acted upon at the first cancellation point.
template <class Work> void RunWhileCancelled(const Work& work) {
    std::thread([&work] {
        pthread_cancel(pthread_self());
        work();
    }).join();
}

TEST(SharedEngine, WakesItsCallsOnAThreadThatIsCancelled) {
    Engine::Configure(EngineOptions().maxConnections(1, 100));
    const LoopbackServer server([](const RecordedRequest&) {
        return httpclient::testing::Delayed(Respond(200, {}, "answer"), std::chrono::milliseconds(20));
    });
    const Client client = ClientOf(server);
    std::atomic<int> ended{0};
    std::vector<httpclient::Call> calls;
    const auto start = [&] {
        calls.push_back(client.Start(Request(Method::Get, "/"), [&](const Result&) { ++ended; }));
    };
    for (int call = 0; call < 3; ++call) {
        start();
    }
    RunWhileCancelled([] { CHttpConnectionMgr::Instance()->SetMaxConnPerAddr(200); });
    RunWhileCancelled(start);
    RunWhileCancelled([&] { calls.front().Cancel(); });
    while (ended < 4) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    CHttpConnectionMgr::Finalize();
}

TEST(SharedEngine, TellsOfThePoolsConnections) {
    const auto sum = [](const char* state) {
        return Engine::Shared().statistics().sum(
            "httpclient_pool_connections",
            {{"scheme", "http"}, {"address", "127.0.0.1:4711"}, {"state", state}});
    };
    EXPECT_EQ(sum("lent") + sum("idle"), 0);
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    CHttpConnection* const first = pool->GetConn("127.0.0.1", 4711, false);
    CHttpConnection* const second = pool->GetConn("127.0.0.1", 4711, false);
    ASSERT_NE(first, nullptr);
    pool->ReleaseConn(second);
    EXPECT_EQ(sum("lent"), 1);
    EXPECT_EQ(sum("idle"), 1);
    pool->ReleaseConn(first);
    EXPECT_EQ(sum("lent"), 0);
    EXPECT_EQ(sum("idle"), 2);
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(sum("idle"), 0);
}

TEST(SharedEngine, GoesOnCountingInItsNextLife) {
    const LoopbackServer server(Answering());
    const Client client = ClientOf(server);
    EXPECT_FALSE(GetReused(client));
    CHttpConnectionMgr::Finalize();
    EXPECT_FALSE(GetReused(client));
    EXPECT_EQ(Engine::Shared().statistics().sum("httpclient_calls_total"), 2);
    EXPECT_EQ(
        Engine::Shared().statistics().sum("httpclient_connections_closed_total", {{"reason", "shutdown"}}),
        1);
    CHttpConnectionMgr::Finalize();
}

} // namespace
