// SPDX-License-Identifier: Apache-2.0
// Tokens are renewed before they end, in the background.
#include <string>

#include "identity/TokenTest.h"
#include "interpose/SteadyClock.h"
#include "setting/Secrets.h"

using httpclient::testing::AdvanceSteadyClock;

namespace {

class TokenRenewal : public TokenTest {
protected:
    TokenRenewal() { EXPECT_EQ(Told(m_client.Send(Get("/orders"))), "200 answer"); }
    ~TokenRenewal() override { Release(); }

    /// @return the token that a call carries.
    std::string Carried() {
        EXPECT_EQ(Told(m_client.Send(Get("/orders"))), "200 answer");
        return Seen().back();
    }
    /// Waits until exchanges have ended like this. @return whether they do.
    bool Ends(const std::string& exchanged) {
        return Becomes([&] { return Exchanged() == exchanged; });
    }

    const Client m_client = PlatformClient();
};

} // namespace

TEST_F(TokenRenewal, HappensAnHourBeforeTheEndWithoutACall) {
    AdvanceSteadyClock(11h - 1min);
    std::this_thread::sleep_for(50ms); // the keeper looks
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(Carried(), Nth("orders", 1));
    AdvanceSteadyClock(1min);
    ASSERT_TRUE(Ends("orders ok 2"));
    EXPECT_EQ(Carried(), Nth("orders", 2));
    AdvanceSteadyClock(11h);
    ASSERT_TRUE(Ends("orders ok 3"));
    EXPECT_EQ(Carried(), Nth("orders", 3));
    EXPECT_EQ(m_service.exchanges().size(), 3U) << "one of each service and renewal";
}

TEST_F(TokenRenewal, OfEachServiceHasATimeOfItsOwn) {
    AdvanceSteadyClock(1h);
    EXPECT_EQ(Told(m_client.Send(Get("/stock"))), "200 answer");
    AdvanceSteadyClock(10h);
    ASSERT_TRUE(Ends("orders ok 2, stock ok 1"));
    AdvanceSteadyClock(1h);
    ASSERT_TRUE(Ends("orders ok 2, stock ok 2"));
}

TEST_F(TokenRenewal, KeepsNoCallWaiting) {
    Hold();
    AdvanceSteadyClock(11h);
    ASSERT_TRUE(m_service.WaitForExchanges(2));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Carried(), Nth("orders", 1)) << "the old one, while it lives";
    }
    EXPECT_EQ(m_service.exchanges().size(), 2U);
}

TEST_F(TokenRenewal, ThatFailsLeavesTheOldTokenAndIsTriedAgain) {
    m_service.AnswerWith(kit::Respond(503));
    AdvanceSteadyClock(11h);
    ASSERT_TRUE(Ends("orders ok 1, orders Identity 1"));
    EXPECT_EQ(Carried(), Nth("orders", 1));
    AdvanceSteadyClock(59s);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(m_service.exchanges().size(), 2U);
    AdvanceSteadyClock(1s);
    ASSERT_TRUE(Ends("orders ok 1, orders Identity 2"));
    EXPECT_EQ(Carried(), Nth("orders", 1));
    m_service.AnswerNormally();
    AdvanceSteadyClock(1min);
    ASSERT_TRUE(Ends("orders ok 2, orders Identity 2"));
    EXPECT_EQ(Carried(), Nth("orders", 2));
}

TEST_F(TokenRenewal, ThatFailsToTheEndLeavesNone) {
    m_service.AnswerWith(kit::Respond(503));
    AdvanceSteadyClock(11h);
    ASSERT_TRUE(Ends("orders ok 1, orders Identity 1"));
    AdvanceSteadyClock(1h - 1s);
    ASSERT_TRUE(Ends("orders ok 1, orders Identity 2"));
    EXPECT_EQ(Carried(), Nth("orders", 1)) << "to its last second";
    AdvanceSteadyClock(1s);
    EXPECT_EQ(Told(m_client.Send(Get("/orders"))), "Identity in Token");
    EXPECT_EQ(m_server.requests().size(), 2U) << "nothing goes out with a token that has ended";
    AdvanceSteadyClock(1s);
    m_service.AnswerNormally();
    EXPECT_EQ(Carried(), Nth("orders", 2));
}

TEST_F(TokenRenewal, OfATokenThatWasDroppedDoesNotHappen) {
    core().tokens().Drop("orders", 1);
    AdvanceSteadyClock(11h);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(Carried(), Nth("orders", 2));
}

TEST_F(TokenRenewal, DoesNotHappenWhenTheEngineHasEnded) {
    m_engine->Shutdown(0ms);
    AdvanceSteadyClock(11h);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}
