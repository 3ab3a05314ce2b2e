// SPDX-License-Identifier: Apache-2.0
// Many threads at once: exchanges overlap, no lock is held meanwhile, and every token belongs to its service.
#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

#include "ExchangeTest.h"
#include "HeldMutex.h"
#include "identity/HttpSiaToken.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

class TokenThreads : public ExchangeTest {
protected:
    /// Gets a token on another thread.
    static std::future<std::string> TokenElsewhere(const std::string& url) {
        return Elsewhere([url] { return Token(url); });
    }
    static Reply TokenReply(const std::string& token) {
        return Respond(200, {}, R"({"token": ")" + token + "\"}");
    }
};

} // namespace

TEST_F(TokenThreads, ExchangeForDifferentServicesSideBySide) {
    m_service.AnswerWith([this](const RecordedRequest& request) {
        const bool both = m_service.WaitForExchanges(2); // neither is answered before both are there
        const bool orders = request.body.find("orders") != std::string::npos;
        return both ? TokenReply(orders ? "for orders" : "for stock") : Respond(500);
    });
    auto orders = TokenElsewhere("/orders");
    auto stock = TokenElsewhere("/stock");
    EXPECT_EQ(orders.get(), "for orders");
    EXPECT_EQ(stock.get(), "for stock");
    EXPECT_EQ(Kept("orders"), "for orders");
    EXPECT_EQ(Kept("stock"), "for stock");
}

TEST_F(TokenThreads, RunAnExchangeEachForOneServiceAndTheLaterTokenStays) {
    std::atomic<int> count{0};
    std::promise<void> firstIsKept;
    const std::shared_future<void> kept(firstIsKept.get_future());
    m_service.AnswerWith([this, &count, kept](const RecordedRequest& /*request*/) {
        const bool isFirst = ++count == 1;
        if (!m_service.WaitForExchanges(2)) {
            return Respond(500);
        }
        if (!isFirst) {
            kept.wait_for(PATIENCE);
        }
        return TokenReply(isFirst ? "first" : "later");
    });
    std::future<std::string> both[] = {TokenElsewhere("/orders"), TokenElsewhere("/orders/1")};
    while (both[0].wait_for(std::chrono::milliseconds(1)) != std::future_status::ready &&
           both[1].wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
        // whichever comes first
    }
    EXPECT_EQ(Kept("orders"), "first");
    firstIsKept.set_value();
    const std::vector<std::string> tokens{both[0].get(), both[1].get()};
    EXPECT_TRUE(tokens == Lines({"first", "later"}) || tokens == Lines({"later", "first"}));
    EXPECT_EQ(Kept("orders"), "later");
    EXPECT_EQ(m_service.exchanges().size(), 2U);
}

TEST_F(TokenThreads, HoldNoLockDuringAnExchange) {
    EXPECT_EQ(Token("/stock"), Nth("stock", 1));
    std::promise<void> answer;
    m_service.AnswerWith([&answer](const RecordedRequest& /*request*/) {
        answer.get_future().wait_for(PATIENCE);
        return TokenReply("orders at last");
    });
    auto orders = TokenElsewhere("/orders");
    EXPECT_TRUE(m_service.WaitForExchanges(2));
    EXPECT_TRUE(IsFree(Sia().m_TokenMutex.lock_));
    EXPECT_TRUE(IsFree(CHttpSiaToken::m_Mutex.lock_));
    EXPECT_EQ(Token("/stock"), Nth("stock", 1));
    EXPECT_EQ(Kept("orders"), "none");
    EXPECT_EQ(Sia().EraseTokenFromBuf("/orders", false), 0);
    EXPECT_EQ(Sia().EraseTokenFromBuf("/stock", false), 0);
    answer.set_value();
    EXPECT_EQ(orders.get(), "orders at last");
    EXPECT_EQ(Kept("orders"), "orders at last"); // what was dropped meanwhile was none of it
    EXPECT_EQ(Kept("stock"), "none");
}

TEST_F(TokenThreads, WaitForTheLockToKeepATokenAndNotBefore) {
    std::promise<void> answer;
    m_service.AnswerWith([&answer](const RecordedRequest& /*request*/) {
        answer.get_future().wait_for(PATIENCE);
        return TokenReply("token");
    });
    auto orders = TokenElsewhere("/orders");
    EXPECT_TRUE(m_service.WaitForExchanges(1));
    HeldMutex held(Sia().m_TokenMutex.lock_);
    answer.set_value();
    EXPECT_TRUE(held.WaitForWaiter());
    EXPECT_TRUE(Sia().m_mapSiaToken.empty());
    held.Release();
    EXPECT_EQ(orders.get(), "token");
    EXPECT_EQ(Kept("orders"), "token");
    EXPECT_TRUE(IsFree(Sia().m_TokenMutex.lock_));
}

TEST_F(TokenThreads, AreNotHeldUpByAnothersFailedExchange) {
    std::promise<void> answer;
    m_service.AnswerWith([&answer](const RecordedRequest& request) {
        if (request.body.find("stock") != std::string::npos) {
            return TokenReply("stock");
        }
        answer.get_future().wait_for(PATIENCE);
        return Respond(500);
    });
    auto orders = Elsewhere([] { return Token("/orders", false, -1); });
    EXPECT_TRUE(m_service.WaitForExchanges(1));
    EXPECT_EQ(Token("/stock"), "stock");
    answer.set_value();
    EXPECT_EQ(orders.get(), "before");
}

TEST_F(TokenThreads, AlwaysGetATokenOfTheirOwnService) {
    constexpr int THREADS = 6;
    constexpr int ROUNDS = 60;
    m_service.AnswerWith([](const RecordedRequest& request) {
        const bool orders = request.body.find("\"orders\"") != std::string::npos;
        return TokenReply(orders ? Secret("orders") : Secret("stock"));
    });
    EndSia(); // they make it, too
    std::vector<std::future<void>> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.push_back(Elsewhere([i] {
            for (int round = 0; round < ROUNDS; ++round) {
                const bool orders = (i + round) % 2 == 0;
                const std::string url = orders ? "/orders" : "/stock";
                EXPECT_EQ(Token(url), orders ? Secret("orders") : Secret("stock"));
                EXPECT_EQ(round % 10 == i ? Sia().EraseTokenFromBuf(url, false) : 0, 0);
            }
        }));
    }
    for (auto& thread : threads) {
        thread.get();
    }
    EXPECT_TRUE(IsFree(Sia().m_TokenMutex.lock_));
    EXPECT_LE(Sia().m_mapSiaToken.size(), 2U);
}

TEST_F(TokenThreads, MayBeCancelledDuringAnExchange) {
    m_service.AnswerWith(
        [](const RecordedRequest& /*request*/) { return Delayed(TokenReply("never"), PATIENCE * 2); });
    std::thread thread([] { Token("/orders"); });
    EXPECT_TRUE(m_service.WaitForExchanges(1));
    EXPECT_EQ(pthread_cancel(thread.native_handle()), 0);
    thread.join();
    EXPECT_EQ(Kept("orders"), "none");
    m_service.AnswerWith(TokenReply("next"));
    EXPECT_EQ(Token("/orders"), "next");
}
