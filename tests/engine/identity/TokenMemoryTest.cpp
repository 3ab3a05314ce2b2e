// SPDX-License-Identifier: Apache-2.0
// Memory is refused at each allocation of a call with a token, and of an exchange.
#include <new>
#include <string>

#include "identity/TokenTest.h"
#include "interpose/Allocations.h"
#include "interpose/SteadyClock.h"
#include "setting/Secrets.h"

using httpclient::testing::AllocationsOf;
using httpclient::testing::CountedNew;

namespace {

class TokenMemory : public TokenTest {
protected:
    /// A new engine, which has made a call without a token.
    Client Fresh() {
        m_engine = std::make_unique<Engine>();
        m_service.SetTokens("orders", {Nth("orders", 1)});
        Client client = PlatformClient();
        EXPECT_EQ(Told(client.Send(Get("/elsewhere"))), "403 who are you");
        return client;
    }
    /// @return what a call says, one of whose allocations fails.
    static std::string SendWithFailing(std::size_t failing, const Client& client, const Request& request) {
        std::optional<Result> result;
        {
            const CountedNew counted(failing);
            result.emplace(client.Send(request));
        }
        return Told(*result);
    }
    /// Expects that no request has gone out without the token that it needs.
    void ExpectTokens() const {
        for (const kit::RecordedRequest& request : m_server.requests()) {
            EXPECT_EQ(request.Header(HEADER).has_value(), request.target != "/elsewhere");
        }
    }
};

} // namespace

TEST_F(TokenMemory, RefusedInACallWithACachedTokenEndsTheCallAndNothingElse) {
    const Client client = Fresh();
    const Request request = Get("/orders");
    ASSERT_EQ(Told(client.Send(request)), "200 answer");
    const std::size_t count = AllocationsOf([&] { static_cast<void>(client.Send(request)); });
    ASSERT_GT(count, 0U);
    for (std::size_t failing = 1; failing <= count; ++failing) {
        const std::string told = SendWithFailing(failing, client, request);
        EXPECT_TRUE(told == "200 answer" || told.compare(0, 8, "Internal") == 0) << failing << ": " << told;
        EXPECT_EQ(Told(client.Send(request)), "200 answer") << failing;
    }
    EXPECT_EQ(Exchanged(), "orders ok 1");
    ExpectTokens();
}

TEST_F(TokenMemory, RefusedInACallThatBeginsAnExchangeLeavesThoseThatFollow) {
    const Request request = Get("/orders");
    for (std::size_t failing = 1; failing <= 40; ++failing) {
        const Client client = Fresh();
        const std::string told = SendWithFailing(failing, client, request);
        EXPECT_TRUE(told == "200 answer" || told.compare(0, 8, "Internal") == 0) << failing << ": " << told;
        if (told == "Internal in Token") {
            httpclient::testing::AdvanceSteadyClock(1s); // a thread that could not begin is a failure
        }
        EXPECT_EQ(Told(client.Send(request)), "200 answer") << failing;
    }
    ExpectTokens();
}

TEST_F(TokenMemory, RefusedInAnExchangeIsTokenOrRefusalOrBadAlloc) {
    const Client client = Fresh();
    m_service.SetTokens("orders", {Nth("orders", 1)});
    engine::TokenOutcome usual;
    const std::size_t count = AllocationsOf([&] { usual = engine::AskTokenService(core(), "orders"); });
    ASSERT_EQ(usual.token, Nth("orders", 1));
    ASSERT_GT(count, 10U);
    std::size_t failed = 0;
    for (std::size_t failing = 1; failing <= count; ++failing) {
        engine::TokenOutcome outcome;
        bool thrown = false;
        {
            const CountedNew counted(failing);
            try {
                outcome = engine::AskTokenService(core(), "orders");
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
        }
        failed += thrown || outcome.token.empty() ? 1 : 0;
        EXPECT_TRUE(thrown || outcome.token.empty() || outcome.token == usual.token) << failing;
    }
    EXPECT_GT(failed, count / 4);
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
}
