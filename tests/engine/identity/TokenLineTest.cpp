// SPDX-License-Identifier: Apache-2.0
// Calls that wait for a token: on their threads, on the loop, to their end by whatever.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "identity/TokenTest.h"
#include "loop/Ends.h"
#include "setting/Secrets.h"

namespace {

class TokenLine : public TokenTest {
protected:
    TokenLine() { Hold(); }
    ~TokenLine() override {
        Release();
        m_engine.reset(); // before what its callbacks touch
    }

    Ends m_ends;
};

constexpr std::size_t MANY = 64;

} // namespace

TEST_F(TokenLine, IsOfAllThreadsForOneExchange) {
    const Client client = PlatformClient();
    std::vector<std::thread> threads;
    std::atomic<int> answered{0};
    for (std::size_t i = 0; i < MANY; ++i) {
        threads.emplace_back([&, i] {
            const Result result = client.Send(Get(i % 2 == 0 ? "/orders" : "/stock"));
            answered += Told(result) == "200 answer" ? 1 : 0;
        });
    }
    ASSERT_TRUE(m_service.WaitForExchanges(2));
    Release();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(answered, static_cast<int>(MANY));
    EXPECT_EQ(Exchanged(), "orders ok 1, stock ok 1");
    EXPECT_EQ(m_service.exchanges().size(), 2U);
    for (const std::string& token : Seen()) {
        EXPECT_NE(token, "none");
    }
}

TEST_F(TokenLine, OfTheLoopDoesNotHoldItUp) {
    const Client client = PlatformClient();
    for (std::size_t i = 0; i < MANY; ++i) {
        static_cast<void>(client.Start(Get("/orders"), m_ends.Of("waiting")));
    }
    static_cast<void>(client.Start(Get("/elsewhere"), m_ends.Of("free")));
    EXPECT_EQ(m_ends.Told("free"), "403 who are you") << "on the same loop";
    EXPECT_EQ(m_ends.Count(), 1U);
    EXPECT_EQ(m_server.requests().size(), 1U);
    Release();
    ASSERT_TRUE(m_ends.Wait(MANY + 1));
    EXPECT_EQ(m_ends.CountOf("200 answer"), MANY);
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}

TEST_F(TokenLine, IsLeftByACallThatIsCancelled) {
    const Client client = PlatformClient();
    Call call = client.Start(Get("/orders"), m_ends.Of("cancelled"));
    static_cast<void>(client.Start(Get("/orders"), m_ends.Of("staying")));
    ASSERT_TRUE(m_service.WaitForExchanges(1));
    call.Cancel();
    EXPECT_EQ(m_ends.Told("cancelled"), "Cancelled in Token");
    Release();
    EXPECT_EQ(m_ends.Told("staying"), "200 answer");
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}

TEST_F(TokenLine, IsLeftAtTheDeadlineOfEach) {
    const Client client = PlatformClient();
    for (const int milliseconds : {20, 60, 100}) {
        static_cast<void>(
            client.Start(Get("/orders").timeout(std::chrono::milliseconds(milliseconds)), m_ends.Of("late")));
    }
    ASSERT_TRUE(m_ends.Wait(3));
    EXPECT_EQ(m_ends.CountOf("Timeout in Token"), 3U);
    EXPECT_TRUE(m_server.requests().empty());
}

TEST_F(TokenLine, IsLeftByAThreadThatIsCancelled) {
    const Client client = PlatformClient();
    std::atomic<bool> ended{false};
    std::thread thread([&] {
        static_cast<void>(client.Send(Get("/orders")));
        ended = true;
    });
    ASSERT_TRUE(m_service.WaitForExchanges(1));
    pthread_cancel(thread.native_handle());
    thread.join();
    EXPECT_FALSE(ended);
    Release();
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(m_service.exchanges().size(), 1U) << "who left did not end the exchange";
}

TEST_F(TokenLine, EndsWithTheEngine) {
    const Client client = PlatformClient();
    static_cast<void>(client.Start(Get("/orders"), m_ends.Of("on the loop")));
    std::thread thread([&] {
        EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "Shutdown in Token, not sent, attempts 0");
    });
    ASSERT_TRUE(m_service.WaitForExchanges(1));
    ASSERT_TRUE(Becomes([&] { return core().m_calls == 2U; }));
    EXPECT_FALSE(m_engine->Shutdown(0ms));
    EXPECT_EQ(m_ends.Told("on the loop"), "Shutdown in Token");
    thread.join();
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "Shutdown in Prepare");
}

TEST_F(TokenLine, IsServedWhileTheEngineEndsInPeace) {
    const Client client = PlatformClient();
    std::thread waiting([&] { EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer"); });
    ASSERT_TRUE(m_service.WaitForExchanges(1));
    std::thread ending([&] { EXPECT_TRUE(m_engine->Shutdown(LONG)); });
    Release();
    waiting.join();
    ending.join();
}

TEST_F(TokenLine, ThatNobodyIsInDoesNotKeepTheEngine) {
    const Client client = PlatformClient();
    EXPECT_EQ(Told(client.Send(Get("/orders").timeout(20ms))), "Timeout in Token");
    const auto taken =
        TimeOf([&] { EXPECT_TRUE(m_engine->Shutdown(LONG)) << "no call of the host was ended"; });
    EXPECT_LT(taken, LONG / 2);
}

// The thread sanitizer does not let a child of several threads start others.
#ifndef __SANITIZE_THREAD__
TEST_F(TokenLine, IsNotThereInAForkedChild) {
    const Client client = PlatformClient();
    std::thread thread([&] { EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer"); });
    ASSERT_TRUE(m_service.WaitForExchanges(1));
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(Told(client.Send(Get("/orders"))) == "200 answer" ? 0 : 1);
    }
    EXPECT_TRUE(m_service.WaitForExchanges(2)) << "it waits for an exchange of its own";
    Release();
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    thread.join();
}

TEST_F(TokenLine, IsFollowedByATokenOfItsOwnInAForkedChild) {
    Release();
    m_service.AnswerNormally();
    const Client client = PlatformClient();
    ASSERT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(Told(client.Send(Get("/orders"))) == "200 answer" ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2), Nth("orders", 1)}));
}
#endif

TEST_F(TokenLine, AmidCallsOfTheHostHoldsNobodyUp) {
    Release();
    EngineOptions options;
    options.maxConnections(1, 1);
    m_engine = std::make_unique<Engine>(options);
    const Client client = PlatformClient();
    EXPECT_EQ(Told(client.Send(Get("/elsewhere"))), "403 who are you");
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "200 answer, attempts 1")
        << "the exchange takes the only place";
}
