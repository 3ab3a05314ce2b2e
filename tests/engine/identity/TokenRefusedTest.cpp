// SPDX-License-Identifier: Apache-2.0
// A server refuses the token: it is dropped, and the request sent once more.
#include <atomic>
#include <memory>
#include <string>

#include "identity/TokenTest.h"
#include "setting/Secrets.h"

namespace {

/// A server that answers 403 to the first tokens of "orders", so many of them.
class TokenRefused : public TokenTest {
protected:
    kit::LoopbackServer::Handler RefuseUntil(int n) {
        return [this, n](const kit::RecordedRequest& request) {
            const std::string token = request.Header(HEADER).value_or("none");
            for (int i = 1; i < n; ++i) {
                if (token == Nth("orders", i)) {
                    return m_refusal;
                }
            }
            return kit::Respond(200, {}, token == "none" ? "none" : "answer " + request.body);
        };
    }
    Client ClientOf(const kit::LoopbackServer& server) {
        return TokenTest::ClientOf(AsPlatform(server.url("")));
    }

    kit::Reply m_refusal = kit::Respond(403, {}, "refused");
};

} // namespace

TEST_F(TokenRefused, IsReplacedAndTheRequestSentOnceMore) {
    kit::LoopbackServer server(RefuseUntil(2));
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "200 answer , attempts 2, reused");
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "200 answer , attempts 1, reused");
    EXPECT_EQ(Seen(server), (Tokens{Nth("orders", 1), Nth("orders", 2), Nth("orders", 2)}));
    EXPECT_EQ(Exchanged(), "orders ok 2");
    EXPECT_EQ(m_engine->statistics().sum("httpclient_retries_total", {{"reason", "4xx"}}), 1);
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_F(TokenRefused, IsFollowedByTheSameRequestOfEveryMethodWithItsBody) {
    kit::LoopbackServer server(RefuseUntil(2));
    for (const Method method : {Method::Get, Method::Head, Method::Post, Method::Put, Method::Patch,
                                Method::Delete, Method::Options}) {
        m_engine = std::make_unique<Engine>();
        m_service.SetTokens("orders", {Nth("orders", 1), Nth("orders", 2)});
        Request request(method, "/orders");
        request.header("A", "1");
        if (method != Method::Get && method != Method::Head) {
            request.body("text");
        }
        const Result result = ClientOf(server).Send(request);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status(), 200);
        EXPECT_EQ(result->attempts(), 2);
        const auto requests = server.requests();
        std::string second = requests.back().raw;
        const std::string& first = requests.at(requests.size() - 2).raw;
        second.replace(second.find(Nth("orders", 2)), Nth("orders", 2).size(), Nth("orders", 1));
        EXPECT_EQ(second, first);
    }
}

TEST_F(TokenRefused, OpensASourceOnceMore) {
    kit::LoopbackServer server(RefuseUntil(2));
    std::atomic<int> opened{0};
    const auto open = [&opened]() -> BodySource {
        ++opened;
        return [left = std::string("source")](char* to, std::size_t room) mutable {
            const std::size_t size = left.copy(to, room);
            left.erase(0, size);
            return static_cast<std::ptrdiff_t>(size);
        };
    };
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(client.Send(Request(Method::Post, "/orders").bodySource(open, 6))),
              "200 answer source, attempts 2, reused");
    EXPECT_EQ(opened, 2);
}

TEST_F(TokenRefused, OnceMoreIsTheOutcome) {
    kit::LoopbackServer server(RefuseUntil(3));
    const Client client = TokenTest::ClientOf(
        AsPlatform(server.url("")).retry(RetryPolicy().attempts(5).statuses({403}).pauses(0ms, 0ms)));
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "403 refused, attempts 2, reused");
    EXPECT_EQ(Seen(server), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "200 answer , attempts 2, reused")
        << "the second token is dropped now";
    EXPECT_EQ(Exchanged(), "orders ok 3");
}

TEST_F(TokenRefused, OnceMoreIsTheOutcomeWhateverItIs) {
    m_refusal = kit::Respond(403, {}, "refused");
    std::atomic<int> count{0};
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        return ++count == 1 ? m_refusal : kit::Respond(503, {}, "busy");
    });
    const Client client =
        TokenTest::ClientOf(AsPlatform(server.url("")).retry(RetryPolicy().attempts(5).pauses(0ms, 0ms)));
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "503 busy, attempts 2, reused");
}

TEST_F(TokenRefused, ShowsItsAnswerToNobody) {
    kit::LoopbackServer server(RefuseUntil(2));
    std::string seen;
    const Request request = Get("/orders")
                                .onHead([&](const Response& response) {
                                    seen += std::to_string(response.status()) + " of attempt " +
                                            std::to_string(response.attempts()) + ": ";
                                    return true;
                                })
                                .bodySink([&](std::string_view piece) {
                                    seen += piece;
                                    return true;
                                });
    EXPECT_EQ(Told(ClientOf(server).Send(request)), "200 ");
    EXPECT_EQ(seen, "200 of attempt 2: answer ");
}

TEST_F(TokenRefused, IsFollowedByAnotherConnectionWhereTheAnswerDoesNotEnd) {
    m_refusal = kit::Raw("HTTP/1.1 403 No\r\nContent-Length: 10\r\n\r\nabc", kit::After::Stall);
    kit::LoopbackServer server(RefuseUntil(2));
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Get("/orders"))), "200 answer , attempts 2");
    m_refusal = kit::Respond(403, {}, std::string(200'000, 'x'));
    m_engine = std::make_unique<Engine>();
    m_service.SetTokens("orders", {Nth("orders", 1), Nth("orders", 2)});
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Get("/orders"))), "200 answer , attempts 2");
}

TEST_F(TokenRefused, WithoutAnotherIsAFailureAndNothingMoreIsSent) {
    kit::LoopbackServer server(RefuseUntil(2));
    const Client client = ClientOf(server);
    const auto count = std::make_shared<std::atomic<int>>(0); // the service keeps it beyond this test's end
    m_service.AnswerWith([count](const kit::RecordedRequest&) {
        return ++*count == 1 ? kit::Respond(200, {}, R"({"token": ")" + Nth("orders", 1) + "\"}")
                             : kit::Respond(503);
    });
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "Identity in Token, sent, retryable, attempts 1");
    EXPECT_EQ(Seen(server), Tokens{Nth("orders", 1)});
}

TEST_F(TokenRefused, IsDroppedOnlyWhileNoOtherHasTakenItsPlace) {
    m_server.Stop();
    Moment first;
    Moment second;
    kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
        const bool old = request.Header(HEADER) == Nth("orders", 1);
        if (old && request.target == "/orders/slow") {
            first.Come();
            second.Wait();
        }
        return old ? kit::Respond(403) : kit::Respond(200, {}, "answer");
    });
    const Client client = ClientOf(server);
    std::thread slow(
        [&] { EXPECT_EQ(ToldFully(client.Send(Get("/orders/slow"))), "200 answer, attempts 2, reused"); });
    ASSERT_TRUE(first.Wait());
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), "200 answer, attempts 2, reused");
    second.Come();
    slow.join();
    EXPECT_EQ(m_service.exchanges().size(), 2U) << "the slow one finds the second token";
}

TEST_F(TokenRefused, OfACallWithoutTokenIsAnAnswer) {
    EXPECT_EQ(ToldFully(PlatformClient().Send(Get("/elsewhere"))), "403 who are you, attempts 1");
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenRefused, IsNotDroppedForAnyOtherStatus) {
    std::atomic<int> status{0};
    kit::LoopbackServer server([&](const kit::RecordedRequest&) { return kit::Respond(status, {}, "body"); });
    const Client client = ClientOf(server);
    for (const int each : {200, 400, 401, 402, 404, 407, 500, 503}) {
        status = each;
        EXPECT_EQ(Told(client.Send(Get("/orders"))), std::to_string(each) + " body");
    }
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}
