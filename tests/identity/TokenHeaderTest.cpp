// SPDX-License-Identifier: Apache-2.0
// The header that a request gets for its token, in the list and on the wire.
#include <memory>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/RecordingTrace.h>

#include "ExchangeTest.h"
#include "client/HttpClientImp.h"
#include "identity/HttpSiaToken.h"
#include "setting/Callback.h"
#include "setting/Secrets.h"
#include "support/CurlOwners.h"
#include "tests/support/Nginx.h"

using namespace httpclient::testing;

namespace {

class TokenHeader : public ExchangeTest {
protected:
    TokenHeader() {
        m_request.setVerb(HTTPOPERATION_GET);
        m_request.setUrlPath("/orders");
        m_client.setDomain(m_server.address());
        m_client.setPort(m_server.port());
    }
    /// @return the header list of the request.
    Lines List() const {
        const CurlSlistPtr list(m_imp.AppendSlist(m_request));
        Lines lines;
        for (const curl_slist* line = list.get(); line != nullptr; line = line->next) {
            lines.emplace_back(line->data);
        }
        return lines;
    }
    /// Sends the request. @return the bytes that the server saw.
    std::string Wire() {
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(m_request, response, false), 200);
        const auto requests = m_server.requests();
        return requests.empty() ? "" : requests.back().raw;
    }
    /// @return the bytes of the request as it goes out with these header lines.
    std::string Expected(const std::string& lines, const std::string& path = "/orders") const {
        return "GET " + path + " HTTP/1.1\r\nHost: " + m_server.authority() +
               "\r\nAccept: */*\r\nCookie: \r\n" + lines +
               "Content-Length: 0\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n";
    }
    void AnswerWithToken(const std::string& json) {
        m_service.AnswerWith(Respond(200, {}, R"({"token": ")" + json + "\"}"));
    }

    LoopbackServer m_server{[](const RecordedRequest& /*request*/) { return Respond(200, {}, "ok"); }};
    CHttpRequest m_request;
    CHttpClient m_client;
    CHttpClientImp m_imp;
};

} // namespace

TEST_F(TokenHeader, HoldsTheTokenWithoutABlank) {
    EXPECT_EQ(List(), Lines{"x-access-token:" + Nth("orders", 1)});
    EXPECT_EQ(NewLines(), ExchangeLines("/orders", "orders", Nth("orders", 1).size()));
}

TEST_F(TokenHeader, IsAmongTheOthersInByteOrder) {
    for (const char* name : {"z", "X-Access-Token", "x-access-tokem", "x-access-tokenx", "x", "B"}) {
        m_request.addRequestHeadEntry(name, "1");
    }
    EXPECT_EQ(List(), (Lines{"B:1", "X-Access-Token:1", "x:1", "x-access-tokem:1",
                             "x-access-token:" + Nth("orders", 1), "x-access-tokenx:1", "z:1"}));
}

TEST_F(TokenHeader, ReplacesTheCallersOwn) {
    AnswerWithToken("t0k");
    m_request.addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(List(), Lines{"x-access-token:t0k"});
    EXPECT_EQ(m_request.getRequestHead().at("x-access-token"), "old"); // the request stays as it was
    EXPECT_EQ(Wire(), Expected("x-access-token:t0k\r\n"));
}

TEST_F(TokenHeader, IsMissingWhereNoServiceIsConfigured) {
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(m_imp.AppendSlist(m_request), nullptr);
    m_request.addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(List(), Lines{"x-access-token:old"});
    EXPECT_EQ(NewLines(), (Lines{message::NotNeeded("/elsewhere"), message::NotNeeded("/elsewhere")}));
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenHeader, IsMissingWhenTheExchangeFails) {
    m_service.AnswerWith(Respond(500));
    m_request.addRequestHeadEntry("A", "1");
    m_request.addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(Wire(), Expected("A:1\r\nx-access-token:old\r\n")); // the request goes out all the same
    EXPECT_EQ(NewLines(), (Lines{message::Mapped("/orders", "orders"), message::ExchangeFailed(500),
                                 message::GET_FAILED}));
    m_request.removeRequestHead();
    EXPECT_EQ(m_imp.AppendSlist(m_request), nullptr);
    EXPECT_EQ(m_service.exchanges().size(), 2U); // the next request tries again
}

TEST_F(TokenHeader, IsMissingWithoutACredential) {
    Sia().m_strJwt.clear();
    EXPECT_EQ(Wire(), Expected(""));
    EXPECT_EQ(NewLines(), (Lines{message::Mapped("/orders", "orders"), message::GET_FAILED}));
}

TEST_F(TokenHeader, IsMissingWhenTheTokenIsEmpty) {
    AnswerWithToken("");
    m_request.addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(Wire(), Expected("x-access-token:old\r\n"));
    EXPECT_EQ(List(), Lines{"x-access-token:old"});
    EXPECT_EQ(m_service.exchanges().size(), 1U); // empty, but kept
    Lines expected = ExchangeLines("/orders", "orders", 0);
    expected.insert(expected.end(), {message::Mapped("/orders", "orders"), message::FromBuffer(0)});
    EXPECT_EQ(NewLines(), expected);
}

TEST_F(TokenHeader, IsMissingWithTheSwitchOff) {
    EndSia();
    const ScopedEnvironment off("enableServiceIdentity", "True");
    m_request.addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(Wire(), Expected("x-access-token:old\r\n"));
    m_client.EnableSiaAccess();
    EXPECT_EQ(Wire(), Expected("x-access-token:old\r\n"));
    EXPECT_EQ(NewLines(), Lines{});
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(TokenHeader, HoldsTheFixedServicesTokenWithSiaAccess) {
    m_client.EnableSiaAccess();
    EXPECT_EQ(Wire(), Expected("x-access-token:" + Nth(ACCESS, 1) + "\r\n"));
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(Wire(), Expected("x-access-token:" + Nth(ACCESS, 1) + "\r\n", "/elsewhere"));
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    CHttpClient other; // the choice is each client's own
    other.setDomain(m_server.address());
    other.setPort(m_server.port());
    m_request.setUrlPath("/orders");
    CHttpResponse response;
    EXPECT_EQ(other.synSendRequest(m_request, response, false), 200);
    EXPECT_EQ(m_server.requests().back().Header("x-access-token"), Nth("orders", 1));
}

TEST_F(TokenHeader, ComesFromTheUrlPathAloneAndNotFromParameters) {
    m_request.setUrlPath("/elsewhere");
    m_request.addParam("x", "/orders");
    Wire();
    EXPECT_EQ(m_server.requests().back().HeaderCount("x-access-token"), 0U);
    m_request.setUrlPath("/orders?y=1");
    Wire();
    EXPECT_EQ(m_server.requests().back().Header("x-access-token"), Nth("orders", 1));
}

TEST_F(TokenHeader, CarriesLineBreaksOfATokenOntoTheWire) {
    // The token service is trusted as the platform's own: nothing between it and the wire looks at a token.
    AnswerWithToken(R"(a\r\nInjected: yes\nb)");
    EXPECT_EQ(Wire(), Expected("x-access-token:a\r\nInjected: yes\nb\r\n"));
}

TEST_F(TokenHeader, CarriesEveryOtherByteOfAToken) {
    AnswerWithToken(" a\\tb:,;\\\"\\u0001\\u00e4\xff ");
    EXPECT_EQ(Wire(), Expected("x-access-token: a\tb:,;\"\x01\xc3\xa4\xff \r\n"));
}

TEST_F(TokenHeader, EndsAtTheFirstNulOfAToken) {
    AnswerWithToken(R"(a\u0000b)");
    EXPECT_EQ(List(), Lines{"x-access-token:a"});
    EXPECT_EQ(NewLines(), ExchangeLines("/orders", "orders", 3));
}

TEST_F(TokenHeader, IsDroppedByLibcurlForATokenOfBlanks) {
    AnswerWithToken("\\u0000b");
    EXPECT_EQ(Wire(), Expected("")); // "name:" with nothing behind it is libcurl's way to say "leave it out"
}

TEST_F(TokenHeader, HoldsATokenOfSixtyKilobytesWhole) {
    const std::string token(60000, 't');
    AnswerWithToken(token);
    EXPECT_TRUE(Wire() == Expected("x-access-token:" + token + "\r\n"));
}

TEST_F(TokenHeader, OfAnAsynchronousSendIsTheSame) {
    m_request.addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(AsynSend(m_client, m_request, false).status, 200);
    const auto requests = m_server.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].HeaderCount("x-access-token"), 1U);
    EXPECT_EQ(requests[0].Header("x-access-token"), Nth("orders", 1));
    Lines expected = ExchangeLines("/orders", "orders", Nth("orders", 1).size()); // on the caller's thread
    expected.insert(expected.begin(), "[3] HTTP asynSendRequest begin");
    expected.emplace_back("[3] HTTP asynSendRequest end");
    EXPECT_EQ(NewLines(), expected);
}

TEST_F(TokenHeader, GoesOutOverTlsToo) {
    TlsLoopbackServer server([](const RecordedRequest& /*request*/) { return Respond(200); }, m_tls.Server());
    m_client.setScheme("https");
    m_client.setDomain(server.address());
    m_client.setPort(server.port());
    CHttpResponse response;
    EXPECT_EQ(m_client.synSendRequest(m_request, response, true), 200);
    EXPECT_EQ(server.requests().at(0).Header("x-access-token"), Nth("orders", 1));
}

TEST_F(TokenHeader, StaysOutOfTheLogOverHttp2Too) {
    SKIP_WITHOUT_NGINX();
    const NginxServer server(m_tls.Server(), "location / { return 200 $http_x_access_token; }", "ssl http2");
    m_client.setScheme("https");
    m_client.setDomain(server.address());
    m_client.setPort(server.port());
    CHttpResponse response;
    EXPECT_EQ(m_client.synSendRequest(m_request, response, true), 200);
    EXPECT_EQ(response.getResponseBody(), Nth("orders", 1));
    EXPECT_EQ(response.getResponseHead().substr(0, 6), "HTTP/2");
    // libcurl repeats the header lines as text, values and all. That the log holds no secret is looked at
    // after each test.
    EXPECT_EQ(TraceRecorder::Instance().CountContaining("x-access-token"), 1U);
}
