// SPDX-License-Identifier: Apache-2.0
// Obtaining a token: what the token service sees, and what becomes of its answer.
#include <map>
#include <string>

#include "../message/FactorySeam.h"
#include "ExchangeTest.h"
#include "HeldMutex.h"
#include "identity/HttpSiaToken.h"
#include "interpose/CurlRecorder.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

class TokenExchange : public ExchangeTest {
protected:
    /// Obtains the token of "orders" anew from this answer. @return the token.
    std::string Receive(const std::string& body) {
        Sia().EraseTokenFromBuf("/orders", false);
        m_service.AnswerWith(Respond(200, {}, body));
        return Token("/orders");
    }
    /// @return the text options that the exchange set last, and its number options.
    std::map<CURLoption, std::string> OptionsOfAnExchange() {
        CurlRecorder recorder;
        recorder.Force(CurlCall::EasyPerform, CURLE_COULDNT_CONNECT);
        EXPECT_EQ(Token("/orders", false, -1), "before");
        std::map<CURLoption, std::string> options;
        for (const CurlEvent& event : recorder.Events(CurlCall::EasySetopt)) {
            options[event.option] = event.number ? std::to_string(*event.number) : event.text.value_or("");
        }
        return options;
    }
    std::string Url(const std::string& host) {
        return "https://" + host + ":32018/rest/sia/v1/tokens/jwt/sia";
    }
};

} // namespace

TEST_F(TokenExchange, IsThisRequest) {
    EXPECT_EQ(Token("/orders/7?x=1"), Nth("orders", 1));
    const auto requests = m_service.server().requests();
    ASSERT_EQ(requests.size(), 1U);
    const std::string body = "{\n\t\"domain\" : \"orders\",\n\t\"jwt\" : \"" + Secret("jwt") + "\"\n}\n";
    EXPECT_EQ(requests[0].raw, "POST /rest/sia/v1/tokens/jwt/sia HTTP/1.1\r\n"
                               "Host: " +
                                   m_maintenance +
                                   ":32018\r\n"
                                   "Accept: */*\r\n"
                                   "Cookie: \r\n"
                                   "Content-Type:application/json\r\n"
                                   "Content-Length: " +
                                   std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_EQ(requests[0].peerSubject, "CN=client");
    EXPECT_EQ(NewLines(), ExchangeLines("/orders/7?x=1", "orders", Nth("orders", 1).size()));
}

TEST_F(TokenExchange, IsMadeUpInThisOrder) {
    const FactorySeam seam;
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    EXPECT_EQ(
        seam.Calls(),
        (Lines{"setUrlPath(/rest/sia/v1/tokens/jwt/sia)", "setVerb(3)", "setContentType(application/json)",
               "setContent(" + m_service.exchanges().at(0).body + ")", "setConnectTimeout(60)",
               "getMaintenanceIPAddress()", "setDomain(" + m_maintenance + ")", "setPort(32018)",
               "setScheme(https)", "setSSLSupport()"}));
}

TEST_F(TokenExchange, FailsWithAnExceptionWhenAPartOfItThrows) {
    FactorySeam seam;
    seam.ThrowAt("setPort(32018)", [](CHttpRequest*, CHttpClient*) {});
    EXPECT_EQ(Token("/orders", false, -1), "before");
    EXPECT_EQ(NewLines(), (Lines{message::Mapped("/orders", "orders"), message::EXCHANGE_EXCEPTION}));
    EXPECT_EQ(Kept("orders"), "none");
}

TEST_F(TokenExchange, NamesTheFixedServiceForSiaAccess) {
    EXPECT_EQ(Token("/elsewhere", true), Nth(ACCESS, 1));
    EXPECT_EQ(Token("/orders", true), Nth(ACCESS, 1)); // for all URLs the same
    ASSERT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(m_service.exchanges()[0].service, ACCESS);
    EXPECT_EQ(Kept("orders"), "none");
}

TEST_F(TokenExchange, KeepsOneTokenPerService) {
    EXPECT_EQ(Token("/orders/1"), Nth("orders", 1));
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    EXPECT_EQ(Token("/stock"), Nth("stock", 1));
    EXPECT_EQ(Token("/stock/"), Nth("stock", 1));
    EXPECT_EQ(m_service.exchangesFor("orders"), 1U);
    EXPECT_EQ(m_service.exchangesFor("stock"), 1U);
}

TEST_F(TokenExchange, GivesATokenThatLivesTwelveHoursToTheSecond) {
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    NewLines();
    m_clock.Set(NOW + 43199);
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    EXPECT_EQ(NewLines(),
              (Lines{message::Mapped("/orders", "orders"), message::FromBuffer(Nth("orders", 1).size())}));
    m_clock.Set(NOW + 43200);
    EXPECT_EQ(Token("/orders"), Nth("orders", 2));
    EXPECT_EQ(NewLines(), ExchangeLines("/orders", "orders", Nth("orders", 2).size(), NOW + 43200));
    m_clock.Set(NOW + 86399);
    EXPECT_EQ(Token("/orders"), Nth("orders", 2));
    m_clock.Set(NOW + 86400);
    EXPECT_EQ(Token("/orders"), Nth("orders", 3));
    EXPECT_EQ(m_service.exchangesFor("orders"), 3U);
}

TEST_F(TokenExchange, CountsATokensLifeFromItsReceipt) {
    m_service.AnswerWith([this](const RecordedRequest& /*request*/) {
        m_clock.Advance(100);
        return Respond(200, {}, R"({"token": "text"})");
    });
    EXPECT_EQ(Token("/orders"), "text");
    EXPECT_EQ(NewLines(), ExchangeLines("/orders", "orders", 4, NOW + 100));
    SiaToken record;
    EXPECT_EQ(Sia().GetTokenFromBuf("orders", record), 0);
    EXPECT_EQ(record.expire_at, NOW + 100 + 43200);
}

TEST_F(TokenExchange, TakesNoEndFromTheService) {
    EXPECT_EQ(Receive(R"({"token": "text", "expire_at": 5, "expires_in": "60", "exp": 0, "Token": "other"})"),
              "text");
    m_clock.Set(NOW + 43199);
    EXPECT_EQ(Token("/orders"), "text");
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}

TEST_F(TokenExchange, LogsTheEndAsAnInt) {
    m_clock.Set(2'147'483'647);
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    EXPECT_EQ(NewLines(),
              (Lines{message::Mapped("/orders", "orders"),
                     message::Exchanged(Nth("orders", 1).size(), 2'147'526'847 - 4'294'967'296)}));
    m_clock.Advance(43199);
    EXPECT_EQ(Token("/orders"), Nth("orders", 1)); // the record holds it whole
    EXPECT_EQ(m_service.exchangesFor("orders"), 1U);
}

TEST_F(TokenExchange, AcceptsAndKeepsAnEmptyToken) {
    for (const char* body :
         {"{}", "null", R"({"token": null})", R"({"token": ""})", R"({"Token": "text"})", " \r\n{ }\n"}) {
        const std::size_t before = m_service.exchanges().size();
        EXPECT_EQ(Receive(body), "") << body;
        EXPECT_EQ(NewLines(), ExchangeLines("/orders", "orders", 0)) << body;
        EXPECT_EQ(Token("/orders"), "");
        EXPECT_EQ(NewLines(), (Lines{message::Mapped("/orders", "orders"), message::FromBuffer(0)}));
        EXPECT_EQ(m_service.exchanges().size(), before + 1) << body;
    }
}

TEST_F(TokenExchange, TakesTheTokenAsTheServiceWroteIt) {
    const std::string all = R"({"token": "\"a\\\u0041\u00e4\r\n \u0000b\ud83d\ude00"})";
    EXPECT_EQ(Receive(all), std::string("\"a\\A\xc3\xa4\r\n \0b\xf0\x9f\x98\x80", 15));
    EXPECT_EQ(NewLines(), ExchangeLines("/orders", "orders", 15));
    EXPECT_EQ(Receive("{\"token\": \"\xff\xc3\"}"), "\xff\xc3");
    EXPECT_EQ(Receive(R"({"token": "first", "token": "last"})"), "last");
    EXPECT_EQ(Receive(R"({"token": 7})"), "7");
    EXPECT_EQ(Receive(R"({"token": true})"), "true");
    const std::string megabyte(std::size_t{1} << 20, 't');
    EXPECT_TRUE(Receive(R"({"token": ")" + megabyte + "\"}") == megabyte);
}

TEST_F(TokenExchange, EscapesWhatItSendsAsJsonAsksFor) {
    Sia().m_strJwt = "a\"b\\c\r\n\t\x01\xc3\xa4";
    Sia().m_mapServiceUrl["/strange"] = "s\"\xf0\x9f\x98\x80/";
    m_service.SetTokens("s\"\xf0\x9f\x98\x80/", {"text"});
    EXPECT_EQ(Token("/strange"), "text");
    ASSERT_EQ(m_service.exchanges().size(), 1U);
    const auto exchange = m_service.exchanges()[0];
    EXPECT_EQ(exchange.jwt, "a\"b\\c\r\n\t\x01\xc3\xa4");
    EXPECT_EQ(exchange.service, "s\"\xf0\x9f\x98\x80/");
    EXPECT_EQ(exchange.body, "{\n\t\"domain\" : \"s\\\"\\ud83d\\ude00/\",\n"
                             "\t\"jwt\" : \"a\\\"b\\\\c\\r\\n\\t\\u0001\\u00e4\"\n}\n");
}

TEST_F(TokenExchange, ReplacesWhatIsNoUtf8) {
    Sia().m_mapServiceUrl["/strange"] = "s\xff";
    m_service.AnswerWith(Respond(200, {}, R"({"token": "text"})"));
    EXPECT_EQ(Token("/strange"), "text");
    EXPECT_EQ(m_service.exchanges().at(0).service, "s\xef\xbf\xbd");
    EXPECT_EQ(Kept("s\xff"), "text"); // the cache's key stays as it is
}

TEST_F(TokenExchange, SendsEvenAnExpiredCredential) {
    // {"alg":"none"} . {"exp":1} . "signature"
    const std::string expired = "eyJhbGciOiJub25lIn0.eyJleHAiOjF9." + Secret("jwt");
    Sia().m_strJwt = expired;
    m_service.AnswerWith(Respond(401, {}, "expired"));
    EXPECT_EQ(Token("/orders", false, -1), "before");
    EXPECT_EQ(m_service.exchanges().at(0).jwt, expired);
    EXPECT_EQ(NewLines(), (Lines{message::Mapped("/orders", "orders"), message::ExchangeFailed(401)}));
}

TEST_F(TokenExchange, ConnectsWithinAMinuteAndIsAnsweredWithinTheClientsOwnTime) {
    auto options = OptionsOfAnExchange();
    EXPECT_EQ(options[CURLOPT_CONNECTTIMEOUT], "60");
    EXPECT_EQ(options[CURLOPT_TIMEOUT], "30");
    EXPECT_EQ(options[CURLOPT_URL], Url(m_maintenance));
    EXPECT_EQ(options[CURLOPT_CUSTOMREQUEST], "POST");
    EXPECT_EQ(options[CURLOPT_SSLCERT], m_tls.root().path() + "/internal/server.cer");
}

TEST_F(TokenExchange, GoesToThisHostWhenThereIsNoMaintenanceAddress) {
    const ScopedEnvironment empty("OVEX_MAINTENANCE_IP", "");
    EXPECT_EQ(OptionsOfAnExchange()[CURLOPT_URL], Url("127.0.0.1"));
    EXPECT_EQ(NewLines(),
              (Lines{message::Mapped("/orders", "orders"), "[5] HTTP setDomain failed, strDomain is empty.",
                     message::PostFailed(7), message::ExchangeFailed(-1)}));
}

TEST_F(TokenExchange, AsksForTheMaintenanceAddressEachTime) {
    {
        const ScopedEnvironment other("OVEX_MAINTENANCE_IP", "::1");
        EXPECT_EQ(OptionsOfAnExchange()[CURLOPT_URL], Url("[::1]"));
    }
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
}

TEST_F(TokenExchange, AsksForNoTokenItself) {
    Sia().m_mapServiceUrl = {{"*", "orders"}};
    EXPECT_EQ(Token("/anything"), Nth("orders", 1));
    ASSERT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(m_service.server().requests()[0].HeaderCount("x-access-token"), 0U);
    EXPECT_EQ(NewLines(), ExchangeLines("/anything", "orders", Nth("orders", 1).size()));
}

TEST_F(TokenExchange, UsesOneConnectionForAll) {
    Token("/orders");
    Token("/stock");
    Sia().EraseTokenFromBuf("/orders", false);
    Token("/orders");
    EXPECT_EQ(m_service.exchanges().size(), 3U);
    EXPECT_EQ(m_service.server().connectionsAccepted(), 1U);
}

TEST_F(TokenExchange, ByItselfKeepsNothing) {
    SiaToken record;
    record.token = "before";
    EXPECT_EQ(Sia().RequestSiaToken("orders", record), 0);
    EXPECT_EQ(record.token, Nth("orders", 1));
    EXPECT_EQ(record.expire_at, NOW + LIFE);
    EXPECT_EQ(Kept("orders"), "none");
    EXPECT_EQ(NewLines(), Lines{message::Exchanged(Nth("orders", 1).size(), NOW + LIFE)});
}

TEST_F(TokenExchange, WaitsForASlowService) {
    m_service.AnswerWith(Delayed(Respond(200, {}, R"({"token": "text"})"), std::chrono::milliseconds(150)));
    EXPECT_EQ(Token("/orders"), "text");
    m_service.AnswerWith(Trickle(Respond(200, {}, R"({"token": "more"})"), std::chrono::milliseconds(1)));
    EXPECT_EQ(Token("/stock"), "more");
}

TEST_F(TokenExchange, IsKeptEvenWhenTheCachesLockCannotBeTaken) {
    const RefusingMutex refusing(Sia().m_TokenMutex.lock_);
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    EXPECT_EQ(Kept("orders"), Nth("orders", 1));
    EXPECT_FALSE(refusing.WasReleased());
}
