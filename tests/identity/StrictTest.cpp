// SPDX-License-Identifier: Apache-2.0
// Service identity under the STRICT profile: the rows of its table about tokens.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/Result.h>

#include "ExchangeTest.h"
#include "setting/Callback.h"

using namespace httpclient::testing;

namespace {

using Tokens = std::vector<std::string>;

class StrictIdentity : public ExchangeTest {
protected:
    StrictIdentity() {
        CHttpConnectionMgr::Finalize(); // another life of the shared engine, without tokens
        m_client.setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
        m_client.setDomain(m_server.address());
        m_client.setPort(m_server.port());
        m_request.setVerb(HTTPOPERATION_GET);
        m_request.setUrlPath("/orders");
    }
    ~StrictIdentity() override { ClosePool(); }

    int Send() { return m_client.synSendRequest(m_request, m_response, false); }
    Tokens Seen() const {
        Tokens tokens;
        for (const RecordedRequest& request : m_server.requests()) {
            tokens.push_back(request.Header("x-access-token").value_or("none"));
        }
        return tokens;
    }

    ReplyScript m_script;
    LoopbackServer m_server{m_script};
    CHttpClient m_client;
    CHttpRequest m_request;
    CHttpResponse m_response;
};

} // namespace

TEST_F(StrictIdentity, SendsTheTokenOfThePathsServiceAfterOneExchange) {
    m_script.Add(Respond(200, {}, "one"));
    m_script.Add(Respond(200, {}, "two"));
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 1)}));
    EXPECT_EQ(m_service.exchangesFor("orders"), 1U);
}

TEST_F(StrictIdentity, SendsNoneWhereThePathBelongsToNoService) {
    m_script.Add(Respond(200));
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(Seen(), Tokens{"none"});
}

TEST_F(StrictIdentity, HasAfterA403TheSecondAnswerAlone) {
    m_script.Add(Respond(403, {}, "refused"));
    m_script.Add(Respond(200, {}, "granted"));
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(m_response.getResponseBody(), "granted");
    EXPECT_EQ(m_response.getResponseHead(), "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
}

TEST_F(StrictIdentity, HasAfterA403OfAnAsynchronousSendTheSecondAnswerAlone) {
    m_script.Add(Respond(403, {}, "refused"));
    m_script.Add(Respond(200, {}, "granted"));
    const AsynResult result = AsynSend(m_client, m_request, false);
    EXPECT_EQ(result.status, 200);
    EXPECT_EQ(result.body, "granted");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
}

TEST_F(StrictIdentity, HasA403OnceWhereIdentityIsOff) {
    EndSia();
    const ScopedEnvironment off("enableServiceIdentity");
    m_script.Add(Respond(403, {}, "refused"));
    m_client.EnableSiaAccess();
    EXPECT_EQ(Send(), 403);
    EXPECT_EQ(m_response.getResponseBody(), "refused");
    EXPECT_EQ(Seen(), Tokens{"none"});
}

TEST_F(StrictIdentity, ReplacesAnEntryOfTheHostsWhereThereIsATokenAlone) {
    m_script.Add(Respond(200));
    m_script.Add(Respond(200));
    m_request.addRequestHeadEntry("x-access-token", "the host's");
    EXPECT_EQ(Send(), 200);
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), "the host's"}));
    EXPECT_EQ(m_server.requests().front().HeaderCount("x-access-token"), 1U);
}

TEST_F(StrictIdentity, ExchangesAfterAHeadToTheTokenService) {
    m_service.AnswerWith(RespondHead(200));
    CHttpClient other;
    other.setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    other.setServerName("*");
    other.setScheme("https");
    other.setDomain(m_maintenance);
    other.setPort(FakeTokenService::PORT);
    CHttpRequest head;
    head.setVerb(HTTPOPERATION_HEAD);
    head.setUrlPath("/elsewhere");
    ASSERT_EQ(other.synSendRequest(head, m_response, true), 200);
    m_service.AnswerNormally();
    m_script.Add(Respond(200));
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(Seen(), Tokens{Nth("orders", 1)});
}

TEST_F(StrictIdentity, TakesASlashOffThePathForAllLaterPatterns_Stays) {
    EndSia();
    WriteServices(R"({"/exact": {"type": "sia", "service": "stock"},
                      "/orders/*": {"type": "sia", "service": "orders"}})");
    for (const char* path : {"/orders/7", "/orders/7/", "/orders/"}) {
        m_script.Add(Respond(200));
        m_request.setUrlPath(path);
        EXPECT_EQ(Send(), 200);
    }
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 1), "none"}));
}

TEST_F(StrictIdentity, ReadsItsFilesOnce_Stays) {
    WriteServices("{}");
    WriteJwt("{}");
    m_script.Add(Respond(200));
    EXPECT_EQ(Send(), 200);
    EndSia(); // as where the process begins with these files
    m_request.setUrlPath("/stock");
    m_script.Add(Respond(200));
    EXPECT_EQ(Send(), 200);
    WriteServices(R"({"/stock": {"type": "sia", "service": "stock"}})");
    m_script.Add(Respond(200));
    EXPECT_EQ(Send(), 200) << "after they were mended";
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), "none", "none"}));
}

TEST_F(StrictIdentity, HasEveryRequestAskForTheAccessServicesToken) {
    m_script.Add(Respond(200));
    m_script.Add(Respond(200));
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(Send(), 200);
    m_client.EnableSiaAccess();
    EXPECT_EQ(Send(), 200) << "the client of the engine is another one then";
    EXPECT_EQ(Seen(), (Tokens{"none", Nth(ACCESS, 1)}));
}

TEST_F(StrictIdentity, FailsWithoutASendWhereNoTokenIsToBeHad) {
    m_service.AnswerWith(Respond(500));
    EXPECT_EQ(Send(), -1);
    ASSERT_NE(m_response.getFailure(), nullptr);
    EXPECT_EQ(m_response.getFailure()->kind(), httpclient::FailureKind::Identity);
    EXPECT_EQ(m_response.getFailure()->phase(), httpclient::Phase::Token);
    EXPECT_TRUE(Seen().empty());
}

TEST_F(StrictIdentity, IsOfOneExchangeForAllThreads) {
    LoopbackServer server([](const RecordedRequest&) { return Respond(200, {}, "answer"); });
    m_client.setPort(server.port());
    std::vector<std::thread> threads;
    std::atomic<std::size_t> answered{0};
    constexpr std::size_t MANY = 64;
    for (std::size_t i = 0; i < MANY; ++i) {
        threads.emplace_back([&] {
            CHttpResponse response;
            answered += m_client.synSendRequest(m_request, response, false) == 200 ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(answered, MANY);
    EXPECT_EQ(m_service.exchangesFor("orders"), 1U);
    for (const RecordedRequest& request : server.requests()) {
        EXPECT_EQ(request.Header("x-access-token"), Nth("orders", 1));
    }
}

TEST_F(StrictIdentity, NeverSendsATokenOverPlainHttpToAnotherHost) {
    m_client.setDomain("192.0.2.1"); // of no host (RFC 5737): nothing is connected
    EXPECT_EQ(Send(), -1);
    ASSERT_NE(m_response.getFailure(), nullptr);
    EXPECT_EQ(m_response.getFailure()->kind(), httpclient::FailureKind::Identity);
    EXPECT_EQ(m_response.getFailure()->attempts(), 0);
}

TEST_F(StrictIdentity, LeavesTheFirstRoadsExchangeToLibcurl) {
    m_script.Add(Respond(200));
    CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    m_client.setTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE);
    EXPECT_EQ(Send(), 200);
    CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE);
    EXPECT_EQ(Seen(), Tokens{Nth("orders", 1)});
    ASSERT_FALSE(m_service.server().requests().empty());
    EXPECT_FALSE(m_service.server().requests().back().Header("User-Agent")) << "not the engine's";
}
