// SPDX-License-Identifier: Apache-2.0
// Calls that carry a token: which ones do, how it stands on the wire, how often the token service is asked.
#include <string>

#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "engine/Options.h"
#include "identity/TokenTest.h"
#include "setting/Log.h"
#include "setting/Secrets.h"

namespace {

class TokenCall : public TokenTest {};

} // namespace

TEST_F(TokenCall, CarriesTheTokenOfItsPathsService) {
    const Client client = PlatformClient();
    EXPECT_EQ(ToldFully(client.Send(Get("/orders/7?x=1"))), "200 answer, attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Post("body", "/stock"))), "200 answer, attempts 1, reused");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("stock", 1)}));
    EXPECT_EQ(Exchanged(), "orders ok 1, stock ok 1");
}

TEST_F(TokenCall, AsksTheTokenServiceAsTheFirstRoadDoes) {
    ASSERT_EQ(Told(PlatformClient().Send(Get("/orders"))), "200 answer");
    ASSERT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(m_service.exchanges()[0].jwt, Secret("jwt"));
    EXPECT_EQ(m_service.exchanges()[0].service, "orders");
    const std::string jwt = Secret("jwt");
    EXPECT_EQ(m_service.exchanges()[0].body,
              "{\n\t\"domain\" : \"orders\",\n\t\"jwt\" : \"" + jwt + "\"\n}\n");
    const kit::RecordedRequest request = m_service.server().requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/rest/sia/v1/tokens/jwt/sia");
    EXPECT_EQ(request.Header("Content-Type"), "application/json");
    EXPECT_EQ(request.Header(HEADER), std::nullopt);
    EXPECT_EQ(request.peerSubject, "CN=client");
}

TEST_F(TokenCall, AsksOnceForAllCallsOfAllClients) {
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Told(PlatformClient().Send(Get("/orders/" + std::to_string(i)))), "200 answer");
    }
    EXPECT_EQ(Seen(), Tokens(5, Nth("orders", 1)));
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}

TEST_F(TokenCall, AsksForEachEngine) {
    ASSERT_EQ(Told(PlatformClient().Send(Get("/orders"))), "200 answer");
    Engine other;
    EXPECT_EQ(Told(Client(AsPlatform(m_server.url("")), other).Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
}

TEST_F(TokenCall, TellsTheTimeThatTheTokenTook) {
    const Client client = PlatformClient();
    const Result first = client.Send(Get("/orders"));
    EXPECT_GT(first->timings().of(Phase::Token), 0ns);
    const Result second = client.Send(Get("/orders"));
    EXPECT_EQ(second->timings().of(Phase::Token), 0ns);
}

TEST_F(TokenCall, WritesTheTokenAfterTheHostsFieldsAndInPlaceOfOneOfTheHosts) {
    const Client client = PlatformClient();
    const Request request = Post("body", "/orders")
                                .header("X-Access-Token", "forged")
                                .header("A", "1")
                                .header("x-access-token", "");
    for (int i = 0; i < 2; ++i) { // with an exchange before it, and without
        ASSERT_EQ(Told(client.Send(request)), "200 answer");
        const std::string raw = m_server.requests().back().raw;
        EXPECT_EQ(raw, "POST /orders HTTP/1.1\r\nHost: " + m_server.authority() +
                           "\r\nUser-Agent: libhttpclient\r\nA: 1\r\nx-access-token: " + Nth("orders", 1) +
                           "\r\nContent-Length: 4\r\n\r\nbody");
    }
}

TEST_F(TokenCall, TakesALongTokenAsItIs) {
    const std::string token = Secret("token-orders-") + std::string(20'000, 't');
    m_service.SetTokens("orders", {token});
    const Client client = PlatformClient();
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(Seen(), (Tokens{token, token}));
}

TEST_F(TokenCall, CarriesNoneWithoutNeed) {
    const std::string origin = m_server.url("");
    EXPECT_EQ(Told(ClientOf(OptionsFor(origin)).Send(Get("/orders"))), "403 who are you") << "no identity";
    const Client client = PlatformClient();
    for (const char* target : {"/elsewhere", "/stock/1", "/", "/orders/rest/sia/v1/tokens/jwt/sia"}) {
        EXPECT_EQ(ToldFully(client.Send(Get(target))).substr(0, 27), "403 who are you, attempts 1") << target;
    }
    const Request own = Get("/elsewhere").header(HEADER, "own");
    EXPECT_EQ(Told(client.Send(own)), "403 who are you");
    EXPECT_EQ(Seen(), (Tokens{"none", "none", "none", "none", "none", "own"}));
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenCall, CarriesNoneWithTheSwitchOff) {
    for (const char* value : {"", "false", "TRUE", "true "}) {
        EndSia();
        const kit::ScopedEnvironment off("enableServiceIdentity", value);
        EXPECT_EQ(Told(PlatformClient().Send(Get("/orders"))), "403 who are you") << value;
    }
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenCall, CarriesTheTokenOfTheAccessServiceWhereItIsTold) {
    ClientOptions options = AsPlatform(m_server.url(""));
    options.m_body->identityAccess = true;
    const Client client = ClientOf(options);
    static_cast<void>(client.Send(Get("/elsewhere")));
    static_cast<void>(client.Send(Get("/orders")));
    const std::string token = Nth("ServiceIdentityAccessService", 1);
    EXPECT_EQ(Seen().at(0), token);
    EXPECT_EQ(m_service.exchanges().at(0).service, "ServiceIdentityAccessService");
    EXPECT_EQ(m_service.exchangesFor("orders"), 0U);
}

TEST_F(TokenCall, ReadsTheConfigurationWhenTheFirstClientIsMade) {
    StartLog();
    const Client nobody = ClientOf(OptionsFor(m_server.url("")));
    EXPECT_EQ(Logged(), Lines{});
    const Client first = PlatformClient();
    EXPECT_EQ(Logged(), (Lines{message::ServicesLoaded(2), message::JwtLoaded(Secret("jwt").size())}));
    const Client second = PlatformClient();
    EXPECT_EQ(Logged().size(), 2U);
}

TEST_F(TokenCall, GoesOverTlsToWhateverHost) {
    kit::TlsLoopbackServer server(Always(), m_tls.Server());
    const Client client = ClientOf(AsPlatform("https://orders.example")
                                       .connectTo(server.authority())
                                       .tls(TlsOptions().verifyHost(false)));
    EXPECT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(Seen(server), Tokens{Nth("orders", 1)});
}

TEST_F(TokenCall, IsRefusedForWhatItIsBeforeTheTokenServiceIsAsked) {
    const Client client = PlatformClient();
    EXPECT_EQ(ToldFully(client.Send(Get("/orders").header("A", "1\r\nB: 2"))),
              "InvalidRequest in Prepare, not sent, attempts 0");
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenCall, LogsItsLineAndThoseOfTheExchangeWithoutTheToken) {
    auto& recorder = kit::TraceRecorder::Instance();
    const Client client = PlatformClient();
    recorder.Clear();
    ASSERT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(recorder.CountContaining("HTTP call POST https://"), 1U);
    EXPECT_EQ(recorder.CountContaining("request sia token successfully. token length: " +
                                       std::to_string(Nth("orders", 1).size())),
              1U);
    EXPECT_EQ(recorder.Messages().size(), 3U);
    recorder.Clear();
    ASSERT_EQ(Told(client.Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(recorder.Messages().size(), 1U);
}
