// SPDX-License-Identifier: Apache-2.0
// Exchanges that fail: what is said of them, and what is left as it was.
#include <new>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "ExchangeTest.h"
#include "identity/HttpSiaToken.h"
#include "interpose/Allocations.h"
#include "interpose/CurlRecorder.h"
#include "interpose/Sleep.h"
#include "pool/HttpConnection.h"
#include "setting/Mutator.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

constexpr const char* URL = "/orders";

/// Starts each test with an expired token of "orders", which every failure has to leave alone.
class ExchangeFailure : public ExchangeTest {
protected:
    ExchangeFailure() {
        SiaToken& old = Sia().m_mapSiaToken["orders"];
        old.token = Secret("old");
        old.expire_at = NOW;
    }
    /// Expects that the exchange fails with these messages.
    void ExpectFailure(Lines messages) {
        messages.insert(messages.begin(), message::Mapped(URL, "orders"));
        EXPECT_EQ(Token(URL, false, -1), "before");
        EXPECT_EQ(NewLines(), messages);
        ExpectOldRecord();
    }
    void ExpectFailureOf(const Reply& reply, const Lines& messages) {
        m_service.AnswerWith(reply);
        ExpectFailure(messages);
    }
    void ExpectFailureOfBody(const std::string& body, const std::string& message) {
        ExpectFailureOf(Respond(200, {}, body), {message});
        if (HasFailure()) {
            ADD_FAILURE() << body.substr(0, 200);
        }
    }
    void ExpectOldRecord() {
        ASSERT_EQ(Sia().m_mapSiaToken.size(), 1U);
        EXPECT_EQ(Sia().m_mapSiaToken["orders"].token, Secret("old"));
        EXPECT_EQ(Sia().m_mapSiaToken["orders"].expire_at, NOW);
    }
    /// Expects that the next exchange succeeds: nothing is remembered of failures.
    void ExpectRecovery() {
        m_service.AnswerNormally();
        EXPECT_EQ(Token(URL), Nth("orders", 1));
        EXPECT_EQ(NewLines(), ExchangeLines(URL, "orders", Nth("orders", 1).size()));
    }
};

} // namespace

TEST_F(ExchangeFailure, IsAnyStatusButOne) {
    for (const int status : {500, 503, 404, 401, 400, 403, 429, 201, 202, 206, 301, 302, 599}) {
        ExpectFailureOf(Respond(status, {}, R"({"token": "text"})"), {message::ExchangeFailed(status)});
    }
    ExpectFailureOf(RespondHead(204), {message::ExchangeFailed(204)});
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsNotTriedAgainByItself) {
    for (const int status : {500, 401, 403}) {
        ExpectFailureOf(Respond(status), {message::ExchangeFailed(status)});
    }
    EXPECT_EQ(m_service.exchanges().size(), 3U);
}

TEST_F(ExchangeFailure, Of403IsTriedAgainOnceWhenTheTokenServiceIsConfigured) {
    Sia().m_mapServiceUrl["/rest/*"] = "stock";
    ExpectFailureOf(Respond(403), {"[3] HTTP synSendRequest, response code is 403, retry to SendRequest",
                                   message::ExchangeFailed(403)});
    EXPECT_EQ(m_service.exchanges().size(), 2U);
}

TEST_F(ExchangeFailure, IsAServiceThatIsDown) {
    m_service.server().Stop();
    ExpectFailure({message::PostFailed(CURLE_COULDNT_CONNECT), message::ExchangeFailed(-1)});
}

TEST_F(ExchangeFailure, IsAServiceWhoseCertificateIsOfAnotherAuthority) {
    m_tls.root().Replace("trust.cer", CertificateAuthority("Another CA").certificatePem());
    ExpectFailure({message::PostFailed(CURLE_PEER_FAILED_VERIFICATION), message::ExchangeFailed(-1)});
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(ExchangeFailure, IsAServiceThatDoesNotTakeTheCertificate) {
    const Identity stranger = CertificateAuthority("Another CA").IssueClient();
    m_tls.root().Replace("server.cer", stranger.certificatePem);
    m_tls.root().Replace("server_key.pem", stranger.keyPem);
    EXPECT_EQ(Token(URL, false, -1), "before");
    EXPECT_EQ(NewLines().back(), message::ExchangeFailed(-1)); // libcurl's own result depends on the moment
    EXPECT_TRUE(m_service.server().WaitForFailedHandshakes(1));
    EXPECT_TRUE(m_service.exchanges().empty());
    ExpectOldRecord();
}

TEST_F(ExchangeFailure, IsAServiceThatTakesTooLong) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyPerform, CURLE_OPERATION_TIMEDOUT);
    ExpectFailure({message::PostFailed(CURLE_OPERATION_TIMEDOUT), message::ExchangeFailed(-1)});
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsAnAnswerThatIsCutShort) {
    ExpectFailureOf(Raw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"token\": \"te", After::Close),
                    {message::PostFailed(CURLE_PARTIAL_FILE), message::ExchangeFailed(-1)});
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsNoAnswerAtAll) {
    ExpectFailureOf(Silence(After::Close),
                    {message::PostFailed(CURLE_GOT_NOTHING), message::ExchangeFailed(-1)});
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsABodyThatIsNoJson) {
    for (const char* body :
         {"", " ", "<html><body>Bad Gateway</body></html>", "{", "}", R"({"token": )", R"({"token": "text)",
          R"({"token": "text"} x)", R"({"token": "text"}{})", R"({"token": "text",})", R"({'token': 'text'})",
          "// comment\n{}", R"({"token": +1})", "\"", "nul", "text", "\xef\xbb\xbf{",
          "{\"token\": \"a\nb\"}"}) {
        ExpectFailureOfBody(body, message::ExchangeFailed(200));
    }
    ExpectFailureOfBody(std::string(1, '\0'), message::ExchangeFailed(200));
    ExpectFailureOfBody(std::string("{}\0", 3), message::ExchangeFailed(200));
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsABodyThatIsNestedTooDeeply) {
    for (const std::size_t depth : {2000U, 100000U}) {
        ExpectFailureOfBody(std::string(depth, '[') + std::string(depth, ']'), message::ExchangeFailed(200));
    }
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsABodyThatIsNoObject) {
    for (const char* body : {"[]", R"(["token", "text"])", R"([{"token": "text"}])", "\"token\"", "\"\"", "7",
                             "-1.5", "true", "false"}) {
        ExpectFailureOfBody(body, message::EXCHANGE_EXCEPTION);
    }
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsATokenThatIsAnObjectOrArray) {
    for (const char* value : {"[]", "{}", R"(["text"])", R"({"token": "text"})"}) {
        ExpectFailureOfBody(R"({"token": )" + std::string(value) + "}", message::EXCHANGE_EXCEPTION);
    }
    ExpectRecovery();
}

TEST_F(ExchangeFailure, LeavesTheRecordThatWasAskedForAlone) {
    SiaToken record;
    record.token = "before";
    record.expire_at = 7;
    for (const Reply& reply : {Respond(500), Respond(200, {}, "{"), Respond(200, {}, "[]"),
                               Respond(200, {}, R"({"token": []})")}) {
        m_service.AnswerWith(reply);
        EXPECT_EQ(Sia().RequestSiaToken("orders", record), -1);
        EXPECT_EQ(record.token, "before");
        EXPECT_EQ(record.expire_at, 7);
    }
}

TEST_F(ExchangeFailure, ComesAfterAHundredTriesWhenThePoolHasNoConnection) {
    // The pool takes thirty TLS addresses; none of these is free again.
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    std::vector<CHttpConnection*> lent;
    for (unsigned int port = 1; port <= 30; ++port) {
        lent.push_back(pool->GetConn("127.0.0.1", port, true));
    }
    const HeldSleep sleep;
    Lines expected(100, "[5] synSendRequest::no idle conn now, wait 3s and retry...");
    expected.push_back("[5] synSendRequest::HTTP get connection from pool failed!");
    expected.push_back(message::ExchangeFailed(-1));
    ExpectFailure(expected);
    EXPECT_EQ(sleep.Calls().size(), 100U);
    for (CHttpConnection* connection : lent) {
        pool->ReleaseConn(connection);
    }
}

TEST_F(ExchangeFailure, ComesOfAnEarlierHeadOnTheSameConnection) {
    // No send resets a pooled handle, so what a host's own HEAD to this address set there holds for an
    // exchange, too, which then goes out without its body.
    m_service.AnswerWith(RespondHead(200));
    CHttpClient client;
    client.setDomain(m_maintenance);
    client.setPort(FakeTokenService::PORT);
    client.setScheme("https");
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_HEAD);
    request.setUrlPath("/elsewhere");
    CHttpResponse response;
    EXPECT_EQ(client.synSendRequest(request, response, true), 200);
    NewLines();
    m_service.AnswerNormally();
    ExpectFailure({message::ExchangeFailed(400)});
    EXPECT_EQ(m_service.exchanges().back().body, "");
    ClosePool(); // as the pool does by itself with a connection that was idle for long enough
    NewLines();
    ExpectRecovery();
}

TEST_F(ExchangeFailure, IsAnswerThatComesDamaged) {
    const std::string sound =
        R"({"token": ")" + Secret("token") + R"(", "expires": 43200, "scope": ["a", null]})";
    std::size_t taken = 0;
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        Mutator mutator(seed);
        m_service.AnswerWith(Respond(200, {}, mutator.Mutate(sound)));
        SiaToken record;
        const int result = Sia().RequestSiaToken("orders", record);
        const Lines lines = NewLines();
        if (result == 0) {
            ++taken;
            EXPECT_EQ(lines, Lines{message::Exchanged(record.token.size(), NOW + LIFE)}) << seed;
        } else {
            EXPECT_EQ(result, -1) << seed;
            EXPECT_TRUE(lines == Lines{message::ExchangeFailed(200)} ||
                        lines == Lines{message::EXCHANGE_EXCEPTION})
                << seed;
        }
    }
    EXPECT_GT(taken, 15U); // some of the damage is harmless, or it would prove little
    EXPECT_LT(taken, 285U);
}

TEST_F(ExchangeFailure, IsAllThatBecomesOfExhaustedMemory) {
    SiaToken record;
    ASSERT_EQ(Sia().RequestSiaToken("orders", record), 0); // what is made once is made
    std::size_t failed = 0;
    int result = -1;
    for (std::size_t failing = 2; result != 0; ++failing) { // the first is the copy of the credential
        const CountedNew held(failing);
        result = Sia().RequestSiaToken("orders", record);
        failed += result == 0 ? 0 : 1;
    }
    EXPECT_GT(failed, 0U);
}
