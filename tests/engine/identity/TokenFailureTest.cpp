// SPDX-License-Identifier: Apache-2.0
// There is no token to be had: what a call says, that nothing is sent, how often the token service is asked.
#include <string>
#include <vector>

#include <httpclient/testing/RecordingTrace.h>

#include "identity/TokenTest.h"
#include "interpose/SteadyClock.h"
#include "interpose/ThreadCreate.h"
#include "setting/Secrets.h"

using httpclient::testing::AdvanceSteadyClock;

namespace {

constexpr const char* NO_TOKEN = "Identity in Token, not sent, retryable, attempts 0";

class TokenFailure : public TokenTest {
protected:
    ~TokenFailure() override { Release(); }
    /// @return what a call for "orders" says, and its message.
    std::string SendAndTell(const Client& client) {
        const Result result = client.Send(Get("/orders"));
        return result ? ToldFully(result) : result.failure().message();
    }
    /// Expects that a call fails when the token service answers so, and that the next one after a second does not.
    void ExpectRefusal(const kit::Reply& reply, const std::string& message) {
        const Client client = PlatformClient();
        m_service.AnswerWith(reply);
        EXPECT_EQ(SendAndTell(client), "Identity in Token: " + message);
        m_service.AnswerNormally();
        AdvanceSteadyClock(1s);
        EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
        m_engine = std::make_unique<Engine>();
    }
};

} // namespace

TEST_F(TokenFailure, SendsNothing) {
    const Client client = PlatformClient();
    m_service.AnswerWith(kit::Respond(503));
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), NO_TOKEN);
    EXPECT_EQ(m_server.connectionsAccepted(), 0U);
    EXPECT_EQ(Told(client.Send(Get("/elsewhere"))), "403 who are you") << "who needs none is served";
}

TEST_F(TokenFailure, IsAnyStatusButOne) {
    for (const int status : {500, 503, 404, 401, 403, 429, 201, 302}) {
        ExpectRefusal(kit::Respond(status, {}, R"({"token": "text"})"),
                      "the token service answered with status " + std::to_string(status));
    }
}

TEST_F(TokenFailure, IsAnAnswerWithoutAUsableToken) {
    const std::string forged = R"({"token": "a\r\nB: 2"})";
    for (const std::string& body : std::vector<std::string>{
             "", "no json", "{}", "null", "[]", "7", R"({"token": ""})", R"({"token": null})",
             R"({"token": {}})", R"({"token": " a"})", R"({"token": "a\u0000b"})", forged}) {
        ExpectRefusal(kit::Respond(200, {}, body), "the token service gave no usable token");
    }
}

TEST_F(TokenFailure, IsAConnectionThatBreaks) {
    ExpectRefusal(kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", kit::After::Cut),
                  "the token service could not be asked, ConnectionLost, the connection ended before the "
                  "answer was whole");
    ExpectRefusal(kit::Raw("nonsense\r\n\r\n", kit::After::Close),
                  "the token service could not be asked, Protocol, the answer's status line is malformed");
}

TEST_F(TokenFailure, IsCountedByServiceAndCause) {
    const std::vector<std::pair<kit::Reply, std::string>> rows = {
        {kit::Respond(503), "Identity"},
        {kit::Respond(200, {}, "no json"), "Identity"},
        {kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", kit::After::Close), "ConnectionLost"},
        {kit::Raw("nonsense\r\n\r\n", kit::After::Close), "Protocol"}};
    for (const auto& [reply, outcome] : rows) {
        m_service.AnswerWith(reply);
        EXPECT_FALSE(PlatformClient().Send(Get("/orders")));
        EXPECT_EQ(Exchanged(), "orders " + outcome + " 1");
        const EngineStatistics statistics = m_engine->statistics();
        EXPECT_EQ(
            statistics.sum("httpclient_token_exchanges_total", {{"service", "orders"}, {"outcome", outcome}}),
            1);
        EXPECT_EQ(statistics.sum("httpclient_token_exchanges_total"), 1);
        m_engine = std::make_unique<Engine>();
    }
}

TEST_F(TokenFailure, IsATokenServiceThatIsNotThere) {
    m_service.server().Stop();
    EXPECT_EQ(SendAndTell(PlatformClient()),
              "Identity in Token: the token service could not be asked, Connect, Connection refused");
    EXPECT_EQ(Exchanged(), "orders Connect 1");
}

TEST_F(TokenFailure, IsAMissingAddressOrCredential) {
    {
        const kit::ScopedEnvironment nowhere("OVEX_MAINTENANCE_IP", "");
        EXPECT_EQ(SendAndTell(PlatformClient()), "Identity in Token: the token service has no address");
    }
    EndSia();
    WriteJwt(R"({"jwt": ""})");
    AdvanceSteadyClock(1s);
    EXPECT_EQ(SendAndTell(PlatformClient()), "Identity in Token: there is no credential");
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenFailure, IsAnAddressOfTheOtherFamilyWhereNobodyListens) {
    const kit::ScopedEnvironment other("OVEX_MAINTENANCE_IP", "::1");
    EXPECT_EQ(SendAndTell(PlatformClient())
                  .find("Identity in Token: the token service could not be asked, Connect, "),
              0U);
    EXPECT_EQ(Exchanged(), "orders Connect 1");
}

TEST_F(TokenFailure, IsACertificateOfAnotherAuthority) {
    m_service.server().Stop();
    const kit::CertificateAuthority other;
    kit::TlsOptions tls = m_tls.Server();
    tls.identity = other.IssueServer();
    kit::FakeTokenService impostor(tls, m_maintenance);
    impostor.SetTokens("orders", {Nth("orders", 1)});
    EXPECT_EQ(ToldFully(PlatformClient().Send(Get("/orders"))), NO_TOKEN);
    EXPECT_TRUE(impostor.exchanges().empty()) << "it does not get the credential";
    EXPECT_EQ(Exchanged(), "orders Tls 1");
}

TEST_F(TokenFailure, IsNotANewCertificateOfTheSameAuthority) {
    const Client client = PlatformClient();
    ASSERT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    m_service.server().Stop();
    kit::FakeTokenService renewed(m_tls.Server(), m_maintenance);
    renewed.SetTokens("stock", {Nth("stock", 7)});
    EXPECT_EQ(Told(client.Send(Get("/stock"))), "200 answer");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("stock", 7)}));
}

TEST_F(TokenFailure, IsRememberedForASecond) {
    const Client client = PlatformClient();
    m_service.AnswerWith(kit::Respond(503));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(SendAndTell(client), "Identity in Token: the token service answered with status 503");
    }
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    AdvanceSteadyClock(1s);
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), NO_TOKEN);
    EXPECT_EQ(m_service.exchanges().size(), 2U);
    EXPECT_EQ(Told(client.Send(Get("/stock"))), "Identity in Token") << "each service is asked for";
    EXPECT_EQ(m_service.exchanges().size(), 3U);
    EXPECT_EQ(Exchanged(), "orders Identity 2, stock Identity 1");
}

TEST_F(TokenFailure, IsNotRetriedByThePolicy) {
    m_service.AnswerWith(kit::Respond(503));
    const Client client =
        ClientOf(AsPlatform(m_server.url("")).retry(RetryPolicy().attempts(5).pauses(0ms, 0ms)));
    EXPECT_EQ(ToldFully(client.Send(Get("/orders"))), NO_TOKEN);
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}

TEST_F(TokenFailure, IsTheDeadlineOfTheCallThatWaits) {
    Hold();
    const Client client = PlatformClient();
    const auto taken = TimeOf([&] {
        EXPECT_EQ(ToldFully(client.Send(Get("/orders").timeout(50ms))),
                  "Timeout in Token, not sent, retryable, attempts 0");
    });
    EXPECT_GE(taken, 50ms);
    EXPECT_LT(taken, 50ms + TOLERANCE);
    EXPECT_EQ(ToldFully(client.Send(Post("x", "/orders").timeout(1ms))),
              "Timeout in Token, not sent, retryable, attempts 0");
    Release();
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer") << "who left did not end the exchange";
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(m_server.requests().size(), 1U);
}

TEST_F(TokenFailure, IsAThreadThatCannotBeStarted) {
    const Client client = PlatformClient();
    {
        const kit::RefusedThread refused;
        EXPECT_EQ(SendAndTell(client), "Identity in Token: the token service could not be asked, Internal, "
                                       "Resource temporarily unavailable");
    }
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "Identity in Token") << "remembered";
    AdvanceSteadyClock(1s);
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
}

TEST_F(TokenFailure, IsOneLineOfLevel5BesideThatOfTheExchange) {
    auto& recorder = kit::TraceRecorder::Instance();
    const Client client = PlatformClient();
    m_service.AnswerWith(kit::Respond(503));
    recorder.Clear();
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "Identity in Token");
    EXPECT_EQ(
        recorder.CountContaining("/orders failed: Identity in Token: the token service answered with status "
                                 "503; attempts 0"),
        1U);
    EXPECT_EQ(recorder.CountContaining("request sia token failed. status: 503"), 1U);
    EXPECT_EQ(recorder.Messages().size(), 3U);
}
