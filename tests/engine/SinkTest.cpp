// SPDX-License-Identifier: Apache-2.0
// Host code that sees an answer while it comes: heads and pieces of bodies.
#include <stdexcept>
#include <string>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"

namespace {

class Sink : public EngineTest {
protected:
    /// @return a request whose sink keeps what it takes.
    Request Taking(Method method = Method::Get) {
        return Request(method, "/").bodySink([this](std::string_view piece) {
            m_taken += piece;
            m_longest = std::max(m_longest, piece.size());
            m_order.emplace_back("piece");
            return true;
        });
    }

    std::string m_taken;
    std::size_t m_longest = 0;
    std::vector<std::string> m_order;
};

} // namespace

TEST_F(Sink, TakesTheWholeBodyOfA2xxInPieces) {
    std::string content(1000UL * 1000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i % 253);
    }
    for (const kit::Reply& reply : {kit::Respond(200, {}, content),
                                    kit::RespondChunked(206, {}, {content.substr(0, 7), content.substr(7)}),
                                    kit::RespondUntilClose(299, {}, content)}) {
        kit::LoopbackServer server([&](const kit::RecordedRequest&) { return reply; });
        const Client client = ClientOf(OptionsFor(server).maxBody(10));
        m_taken.clear();
        const Result result = client.Send(Taking());
        ASSERT_TRUE(static_cast<bool>(result)) << Told(result);
        EXPECT_EQ(result->body(), "") << "what a sink takes is not kept, and no limit counts it";
        EXPECT_TRUE(m_taken == content);
        EXPECT_LE(m_longest, 64U * 1024);
    }
}

TEST_F(Sink, TakesNothingOfAnyOtherAnswer) {
    for (const int status : {300, 404, 500}) {
        kit::LoopbackServer server(
            [&](const kit::RecordedRequest&) { return kit::Respond(status, {}, "why"); });
        EXPECT_EQ(Told(ClientOf(server).Send(Taking())), std::to_string(status) + " why");
        EXPECT_EQ(m_taken, "");
    }
}

TEST_F(Sink, ThatHasEnoughCancelsTheCallAndClosesTheConnection) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) { return kit::Respond(200, {}, "answer"); });
    const Client client = ClientOf(server);
    int asked = 0;
    const Request request = Get().bodySink([&](std::string_view) { return ++asked == 0; });
    EXPECT_EQ(ToldFully(client.Send(request)), "Cancelled in Body, sent, attempts 1");
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
}

TEST_F(Sink, ThatThrowsCancelsTheCall) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_EQ(
        Told(client.Send(Get().bodySink([](std::string_view) -> bool { throw std::runtime_error("x"); }))),
        "Cancelled in Body");
    EXPECT_EQ(Told(client.Send(Get().bodySink([](std::string_view) -> bool { throw 1; }))),
              "Cancelled in Body");
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
}

TEST_F(Sink, MaySendACallItself) {
    const std::string content(200UL * 1000, 'c');
    kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
        return kit::Respond(200, {}, request.target == "/" ? content : std::string(100UL * 1000, 'i'));
    });
    const Client client = ClientOf(server);
    std::string taken;
    const Request request = Get().bodySink([&](std::string_view piece) {
        const Result inner = client.Send(Get("/inner"));
        taken += piece;
        return inner && inner->body().size() == 100UL * 1000;
    });
    EXPECT_EQ(Told(client.Send(request)), "200 ");
    EXPECT_TRUE(taken == content);
}

TEST_F(Sink, AfterItsFirstPieceNothingIsSentAgain) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nab", kit::After::Close);
    });
    const Client client = ClientOf(OptionsFor(server).retry(RetryPolicy().attempts(3).pauses(1ms, 1ms)));
    EXPECT_EQ(ToldFully(client.Send(Taking())), "ConnectionLost in Body, sent, retryable, attempts 1");
    EXPECT_EQ(m_taken, "ab");
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(ToldFully(client.Send(Get())), "ConnectionLost in Body, sent, retryable, attempts 3")
        << "without a sink it is";
}

TEST_F(Sink, SeesTheHeadBeforeTheFirstPiece) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Respond(201, {{"A", "b"}}, "content");
    });
    const Request request = Taking(Method::Post).onHead([this](const Response& response) {
        m_order.push_back("head " + std::to_string(response.status()) + " " +
                          std::string(response.header("a").value_or("")) + " " + response.body() + " " +
                          std::to_string(response.attempts()));
        return true;
    });
    EXPECT_EQ(Told(ClientOf(server).Send(request)), "201 ");
    EXPECT_EQ(m_order, (std::vector<std::string>{"head 201 b  1", "piece"}));
    EXPECT_EQ(m_taken, "content");
}

TEST_F(Sink, SeesTheHeadOfEveryFinalAnswerOnce) {
    const std::vector<kit::Reply> replies = {
        kit::RespondHead(204), kit::Respond(404, {}, "none"),
        kit::Raw("HTTP/1.1 103 Early\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")};
    kit::LoopbackServer server((kit::ReplyScript(replies)));
    const Client client = ClientOf(server);
    std::vector<int> seen;
    const Request request = Get().onHead([&](const Response& response) {
        seen.push_back(response.status());
        return true;
    });
    EXPECT_EQ(Told(client.Send(request)), "204 ");
    EXPECT_EQ(Told(client.Send(request)), "404 none");
    EXPECT_EQ(Told(client.Send(request)), "200 ");
    EXPECT_EQ(seen, (std::vector<int>{204, 404, 200}));
}

TEST_F(Sink, OfHeadsThatHasEnoughOrThrowsCancelsTheCall) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(client.Send(Taking().onHead([](const Response&) { return false; }))),
              "Cancelled in Body, sent, attempts 1");
    EXPECT_EQ(Told(client.Send(Taking().onHead([](const Response&) -> bool { throw 1; }))),
              "Cancelled in Body");
    EXPECT_EQ(m_taken, "");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1") << "on a new connection";
}

TEST_F(Sink, SeesNoHeadButThatOfTheOutcome) {
    std::vector<int> seen;
    const Request request = Get().onHead([&](const Response& response) {
        seen.push_back(response.status());
        return true;
    });
    const RetryPolicy policy = RetryPolicy().attempts(3).pauses(1ms, 1ms);
    kit::LoopbackServer server(
        kit::ReplyScript({kit::Respond(503, {}, "busy"), kit::Respond(200, {}, "done")}));
    EXPECT_EQ(ToldFully(ClientOf(OptionsFor(server).retry(policy)).Send(request)),
              "200 done, attempts 2, reused");
    EXPECT_EQ(seen, std::vector<int>{200});
    seen.clear();
    kit::LoopbackServer cutting([](const kit::RecordedRequest&) {
        return kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nab", kit::After::Close);
    });
    EXPECT_EQ(ToldFully(ClientOf(OptionsFor(cutting).retry(policy)).Send(request)),
              "ConnectionLost in Body, sent, retryable, attempts 1")
        << "what it saw is not followed by another";
    EXPECT_EQ(seen, std::vector<int>{200});
}
