// SPDX-License-Identifier: Apache-2.0
// The asynchronous send under the STRICT profile.
#include <atomic>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <thread>

#include <httpclient/testing/Patience.h>

#include "BothRoads.h"
#include "interpose/Allocations.h"
#include "interpose/ThreadCreate.h"

using namespace httpclient::testing;

namespace {

class StrictAsynSend : public StrictTest {
protected:
    LoopbackServer m_server{AnswerAll("answer")};
    std::unique_ptr<CHttpRequest> m_get = MakeRequest(HTTPOPERATION_GET, "/");
};

std::atomic<CHttpClient*> g_client{nullptr};
std::atomic<int> g_calls{0};

bool CallsBecome(int count) {
    for (const auto giveUp = std::chrono::steady_clock::now() + PATIENCE; g_calls.load() < count;) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace

TEST_F(StrictAsynSend, FillsTheResponseAsTheSynchronousOneDoes) {
    StrictClient client(m_server);
    client.asynSendRequest(*m_get, &Outcomes::Callback, false);
    ASSERT_TRUE(Outcomes::WaitFor(1));
    const Outcome outcome = Outcomes::All().at(0);
    CHttpResponse response;
    ASSERT_EQ(client.synSendRequest(*m_get, response, false), 200);
    EXPECT_EQ(outcome.status, 200);
    EXPECT_EQ(outcome.body, response.getResponseBody());
    EXPECT_EQ(outcome.head, response.getResponseHead());
    EXPECT_EQ(outcome.type, response.getContentType());
    EXPECT_EQ(outcome.length, response.getContentLen());
    EXPECT_NE(outcome.thread, std::this_thread::get_id()) << "one of the engine's";
    EXPECT_EQ(m_server.connectionsAccepted(), 1U) << "both ways share connections";
    EXPECT_EQ(PooledConnections(m_server, true), 0U);
}

TEST_F(StrictAsynSend, AnswersAtOnceAlsoOnAKeptConnection) {
    StrictClient client(m_server);
    m_select.Divide(1); // nothing is cut short
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(SendAndWait(client, *m_get).status, 200);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4))
        << "one step of libcurl's is 5 s";
}

TEST_F(StrictAsynSend, ReportsEveryFailureAsMinusOneOnAnotherThread) {
    StrictClient client;
    client.setPort(RefusingPort());
    EXPECT_EQ(SendAndWait(client, *m_get).failure, "Connect in Connect");
    PointAt(client, m_server);
    client.asynSendRequest(CHttpRequest(), &Outcomes::Callback, false);
    ASSERT_TRUE(Outcomes::WaitFor(1));
    EXPECT_EQ(Outcomes::All().at(0).status, -1);
    EXPECT_NE(Outcomes::All().at(0).thread, std::this_thread::get_id());
}

TEST_F(StrictAsynSend, TellsOfSettingsOfNoUseOnAnotherThreadToo) {
    StrictClient client(m_server);
    client.setPort(0);
    client.asynSendRequest(*m_get, &Outcomes::Callback, false);
    ASSERT_TRUE(Outcomes::WaitFor(1));
    EXPECT_EQ(Outcomes::All().at(0).status, -1);
    EXPECT_NE(Outcomes::All().at(0).thread, std::this_thread::get_id()) << "the caller may hold a lock";
    EXPECT_EQ(sigismember(&Outcomes::All().at(0).blockedSignals, SIGTERM), 0)
        << "signals are as the caller's";
}

TEST_F(StrictAsynSend, TellsOfSettingsOfNoUseEvenWhereNoThreadCanBeStarted) {
    StrictClient client(m_server);
    client.setPort(0);
    const RefusedThread refused;
    client.asynSendRequest(*m_get, &Outcomes::Callback, false);
    ASSERT_EQ(Outcomes::All().size(), 1U);
    EXPECT_EQ(Outcomes::All().at(0).status, -1);
}

TEST_F(StrictAsynSend, OutlivesClientAndRequest) {
    LoopbackServer slow([](const RecordedRequest& request) {
        return Delayed(Respond(200, {}, request.body), std::chrono::milliseconds(50));
    });
    {
        StrictClient client(slow);
        const auto request = MakeRequest(HTTPOPERATION_POST);
        request->setContent("a body that is longer than a short text");
        client.asynSendRequest(*request, &Outcomes::Callback, false);
    }
    ASSERT_TRUE(Outcomes::WaitFor(1));
    EXPECT_EQ(Outcomes::All().at(0).body, "a body that is longer than a short text");
}

TEST_F(StrictAsynSend, HasACallbackThatMayThrowSendAgainAndDestroyTheClient) {
    g_calls = 0;
    g_client = new StrictClient(m_server);
    g_client.load()->asynSendRequest(
        *m_get,
        [](const CHttpResponse&) {
            ++g_calls;
            CHttpResponse response;
            EXPECT_EQ(g_client.load()->synSendRequest(*MakeRequest(HTTPOPERATION_GET), response, false), 200);
            g_client.load()->asynSendRequest(
                *MakeRequest(HTTPOPERATION_GET),
                [](const CHttpResponse& second) {
                    EXPECT_EQ(second.getStatusCode(), 200);
                    delete g_client.exchange(nullptr);
                    ++g_calls;
                    throw std::runtime_error("the host's");
                },
                false);
            throw std::runtime_error("the host's");
        },
        false);
    ASSERT_TRUE(CallsBecome(2));
    EXPECT_EQ(SendAndWait(StrictClient(m_server), *m_get).status, 200) << "the next one succeeds";
}

TEST_F(StrictAsynSend, MayBeStartedByManyThreadsOnOneClient) {
    constexpr std::size_t THREADS = 8;
    constexpr std::size_t EACH = 25;
    StrictClient client(m_server);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (std::size_t k = 0; k < EACH; ++k) {
                client.asynSendRequest(*m_get, &Outcomes::Callback, false);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(Outcomes::WaitFor(THREADS * EACH));
    for (const Outcome& outcome : Outcomes::All()) {
        EXPECT_EQ(outcome.status, 200);
    }
}

TEST_F(StrictAsynSend, CallsBackOnceWhereverMemoryRunsOut) {
    StrictClient client(m_server);
    ASSERT_EQ(SendAndWait(client, *m_get).status, 200); // the engine's threads are there
    int failures = 0;
    for (std::size_t allocation = 1; allocation < 60; ++allocation) {
        const std::size_t before = Outcomes::All().size();
        {
            const CountedNew counted(allocation); // of this thread
            client.asynSendRequest(*m_get, &Outcomes::Callback, false);
        }
        ASSERT_TRUE(Outcomes::WaitFor(before + 1)) << "allocation " << allocation;
        const int status = Outcomes::All().at(before).status;
        EXPECT_TRUE(status == 200 || status == -1) << status;
        failures += status == -1 ? 1 : 0;
    }
    EXPECT_GT(failures, 3);
    EXPECT_EQ(SendAndWait(client, *m_get).status, 200);
    EXPECT_EQ(Outcomes::All().size(), 59U) << "once each";
}

TEST_F(StrictAsynSend, CallsBackWhereNoMemoryIsLeft) {
    StrictClient client(m_server);
    ASSERT_EQ(SendAndWait(client, *m_get).status, 200); // the engine's threads are there
    for (std::size_t allocation = 1; allocation < 60; ++allocation) {
        g_calls = 0;
        {
            const CountedNew counted(allocation, Failing::AllFrom); // of this thread
            client.asynSendRequest(
                *m_get, [](const CHttpResponse&) { ++g_calls; }, false);
        }
        ASSERT_TRUE(CallsBecome(1)) << "allocation " << allocation;
    }
    EXPECT_EQ(SendAndWait(client, *m_get).status, 200);
}
