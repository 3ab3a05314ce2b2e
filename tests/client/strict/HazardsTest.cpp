// SPDX-License-Identifier: Apache-2.0
// Each surprise that docs/behaviour-to-know.md tells of, tried under the STRICT profile. The names are those of the
// page's headings. What is said there of service identity is tried where tokens are.
#include <chrono>
#include <string>
#include <thread>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Files.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "BothRoads.h"
#include "interpose/CurlRecorder.h"
#include "setting/TlsSetting.h"

using namespace httpclient::testing;

namespace {

class StrictHazard : public StrictTest {
protected:
    int Send(const CHttpRequest& request) { return m_client.synSendRequest(request, m_response, false); }
    int Get() { return Send(*MakeRequest(HTTPOPERATION_GET, "/")); }

    StrictClient m_client;
    CHttpResponse m_response;
};

/// As StrictHazard, with a server that answers everything.
class StrictHazardOn : public StrictHazard {
protected:
    StrictHazardOn() { PointAt(m_client, m_server); }
    RecordedRequest Last() const { return m_server.requests().back(); }

    LoopbackServer m_server{AnswerAll("answer")};
};

} // namespace

TEST_F(StrictHazardOn, AnAcceptedEncodingStays_IsGone) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/a");
    request->setAcceptEncoding("gzip");
    ASSERT_EQ(Send(*request), 200);
    EXPECT_EQ(Last().Header("Accept-Encoding"), "gzip");
    ASSERT_EQ(Get(), 200);
    EXPECT_FALSE(Last().Header("Accept-Encoding"));
    EXPECT_EQ(Last().connection, 1U);
}

TEST_F(StrictHazardOn, HeadAndWhatSharesItsConnection_IsGone) {
    for (const auto verb : {HTTPOPERATION_GET, HTTPOPERATION_HEAD, HTTPOPERATION_GET, HTTPOPERATION_HEAD}) {
        const bool head = verb == HTTPOPERATION_HEAD;
        ASSERT_EQ(Send(*MakeRequest(verb)), 200);
        EXPECT_EQ(Last().method, head ? "HEAD" : "GET");
        EXPECT_EQ(m_response.getResponseBody(), head ? "" : "answer");
    }
    const auto post = MakeRequest(HTTPOPERATION_POST);
    post->setContent("body");
    ASSERT_EQ(Send(*post), 200);
    EXPECT_EQ(Last().body, "body");
    EXPECT_EQ(m_server.connectionsAccepted(), 1U);
}

TEST_F(StrictHazardOn, AsynchronousSendsDoLess_IsGone) {
    const auto post = MakeRequest(HTTPOPERATION_POST);
    post->setContent("the body");
    post->setCustomCookieParam("session=1");
    m_select.Divide(1); // no step of libcurl's is cut short
    ASSERT_EQ(SendAndWait(m_client, *post).status, 200);
    EXPECT_EQ(Last().body, "the body");
    EXPECT_EQ(Last().Header("Cookie"), "session=1");
    ASSERT_EQ(SendAndWait(m_client, *MakeRequest(HTTPOPERATION_HEAD)).status, 200);
    EXPECT_EQ(Last().method, "HEAD");
    EXPECT_EQ(PooledConnections(m_server, true), 0U) << "no TLS connection of the pool is taken";
    m_server.Stop();
    const StrictOutcome failed = SendAndWait(m_client, *post);
    EXPECT_EQ(failed.status, -1);
    EXPECT_EQ(failed.failure, "Connect in Connect");
}

TEST_F(StrictHazard, TlsAfterAnAsynchronousSend_IsGone) {
    const TlsSetting setting;
    const CertificateAuthority foreign("Stranger");
    TlsOptions options = setting.Server();
    TlsLoopbackServer ours(AnswerAll("answer"), options);
    options.identity = foreign.IssueServer();
    TlsLoopbackServer stranger(AnswerAll("answer"), options);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    for (int round = 0; round < 2; ++round) {
        PointAt(m_client, ours);
        EXPECT_EQ(m_client.synSendRequest(*request, m_response, true), 200);
        EXPECT_EQ(SendAndWait(m_client, *request, true).status, 200);
        PointAt(m_client, stranger);
        EXPECT_EQ(m_client.synSendRequest(*request, m_response, true), -1);
        EXPECT_EQ(SendAndWait(m_client, *request, true).failure, "Tls in Handshake");
    }
    for (const RecordedRequest& sent : ours.requests()) {
        EXPECT_EQ(sent.peerSubject, "CN=client");
    }
    EXPECT_TRUE(stranger.requests().empty());
}

TEST_F(StrictHazardOn, AsynchronousSendsDoLess_AnEncodingIsDecoded) {
    const std::string deflated("x\x9cK\xcc+.O-\x02\0\x08\xdf\x02\x91", 14); // "answer"
    LoopbackServer server([&](const RecordedRequest&) {
        return Respond(200, {{"Content-Encoding", "deflate"}}, deflated);
    });
    PointAt(m_client, server);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->setAcceptEncoding("deflate");
    EXPECT_EQ(SendAndWait(m_client, *request).body, "answer");
}

TEST_F(StrictHazard, FinalizeLeavesTlsConnectionsOpen_IsGone) {
    const TlsSetting setting;
    TlsLoopbackServer server(AnswerAll("answer"), setting.Server());
    PointAt(m_client, server);
    ASSERT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), m_response, true), 200);
    CHttpConnectionMgr::Finalize();
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST_F(StrictHazard, TlsFilesOfAConnectionStayWrong_IsGone) {
    const TlsSetting setting;
    TlsLoopbackServer server(AnswerAll("answer"), setting.Server());
    PointAt(m_client, server);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    const std::string key = "server_key.pem";
    const std::string whole = ReadFile(setting.root().File(key));
    setting.root().Replace(key, "no key");
    EXPECT_EQ(m_client.synSendRequest(*request, m_response, true), -1);
    EXPECT_EQ(FailureOf(m_response), "Tls in Handshake");
    setting.root().Replace(key, whole);
    // Files are looked at once a second at most.
    const auto giveUp = std::chrono::steady_clock::now() + PATIENCE;
    while (m_client.synSendRequest(*request, m_response, true) != 200) {
        ASSERT_LT(std::chrono::steady_clock::now(), giveUp);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

TEST_F(StrictHazardOn, LineBreaksInHeaderValuesGoOut_IsGone) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("X-Name", "value\r\nX-Admin: yes");
    EXPECT_EQ(Send(*request), -1);
    EXPECT_TRUE(m_server.requests().empty());
}

TEST_F(StrictHazardOn, ValuesOfParametersAreGbk_StaysButNoneArrivesEmpty) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/a");
    request->addParam("name", "Zo\xc3\xab");
    ASSERT_EQ(Send(*request), 200);
    EXPECT_EQ(Last().target, "/a?name=Zo%E6%AF%9B");
    request->RemoveAllParams();
    request->addParam("name", "Zo\xc3");
    EXPECT_EQ(Send(*request), -1);
}

TEST_F(StrictHazardOn, AParameterWithoutValuesEmptiesAll_IsGone) {
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/items");
    request->addParam("id", "7");
    request->addParam("kind", std::vector<std::string>{});
    ASSERT_EQ(Send(*request), 200);
    EXPECT_EQ(Last().target, "/items?id=7");
}

TEST_F(StrictHazardOn, AMethodMayBeLostWhenMemoryRunsOut_IsGone) {
    CurlRecorder recorder; // holds libcurl's memory back
    recorder.ForceOption(CURLOPT_CUSTOMREQUEST, CURLE_OUT_OF_MEMORY);
    ASSERT_EQ(Send(*MakeRequest(HTTPOPERATION_DELETE, "/items/7")), 200);
    EXPECT_EQ(Last().method, "DELETE");
}

TEST_F(StrictHazardOn, ValuesMayBeLostWhenMemoryRunsOut_IsGone) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit); // the request's own handle
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/items");
    request->addParam("id", "7");
    ASSERT_EQ(Send(*request), 200);
    EXPECT_EQ(Last().target, "/items?id=7");
}

TEST_F(StrictHazardOn, ABodyEndsAtItsFirstNul_IsGone) {
    const auto request = MakeRequest(HTTPOPERATION_POST);
    request->setContent(std::string("seen\0unseen", 11));
    ASSERT_EQ(Send(*request), 200);
    EXPECT_EQ(Last().body, std::string("seen\0unseen", 11));
}

TEST_F(StrictHazardOn, HeaderEntriesHaveTheirOwnRules_NothingIsSentThatNobodySet) {
    ASSERT_EQ(Get(), 200);
    EXPECT_FALSE(Last().Header("Cookie"));
    EXPECT_FALSE(Last().Header("Content-Length"));
    EXPECT_FALSE(Last().Header("Content-Type"));
}

TEST_F(StrictHazardOn, UrlsAreJoinedNotBuilt_IsGone) {
    EXPECT_EQ(Send(*MakeRequest(HTTPOPERATION_GET, "0/path")), -1) << "it would change the port";
    EXPECT_EQ(Send(*MakeRequest(HTTPOPERATION_GET, "@other/")), -1) << "it would change the host";
    EXPECT_EQ(FailureOf(m_response), "InvalidRequest in Prepare");
    EXPECT_TRUE(m_server.requests().empty());
}

TEST_F(StrictHazard, ADroppedConnectionIsSentToAgain_IsGone) {
    LoopbackServer server(
        ReplyScript({Respond(200, {}, "first"), Silence(After::Close), Respond(200, {}, "second")}));
    PointAt(m_client, server);
    ASSERT_EQ(Get(), 200);
    const auto post = MakeRequest(HTTPOPERATION_POST, "/order");
    post->setContent("one");
    EXPECT_EQ(Send(*post), -1);
    EXPECT_EQ(FailureOf(m_response), "ConnectionLost in Head");
    EXPECT_TRUE(m_response.getFailure()->requestSent());
    EXPECT_EQ(server.requests().size(), 2U) << "a POST goes out once";
}

TEST_F(StrictHazard, ADroppedConnectionIsSentToAgain_EverySixthDoesNotFail) {
    // One kept connection after the other dies under a GET, which may be sent again.
    LoopbackServer server([](const RecordedRequest& request) {
        return request.number == 1 ? Respond(200, {}, "answer") : Silence(After::Close);
    });
    PointAt(m_client, server);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Get(), 200) << i;
    }
}

TEST_F(StrictHazard, AResponseKeepsItsFirstContentType_Stays) {
    LoopbackServer server(ReplyScript({Respond(200, {{"Content-Type", "text/html"}}, "<p>"),
                                       Respond(200, {{"Content-Type", "application/json"}}, "{}")}));
    PointAt(m_client, server);
    ASSERT_EQ(Get(), 200);
    ASSERT_EQ(Get(), 200);
    EXPECT_EQ(m_response.getContentType(), "text/html") << "it is what CHttpResponse does, whoever fills it";
}

TEST_F(StrictHazard, AHeadThatIsCutIsAnAnswer_IsGone) {
    LoopbackServer server([](const RecordedRequest&) {
        return Raw("HTTP/1.1 200 OK\r\nServer: s\r\nContent-Type: text/ht", After::Close);
    });
    PointAt(m_client, server);
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(FailureOf(m_response), "ConnectionLost in Head");
}

TEST_F(StrictHazard, NoAnswerHasTwoNumbers_IsGone) {
    LoopbackServer server([](const RecordedRequest&) {
        return Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", After::Close);
    });
    PointAt(m_client, server);
    EXPECT_EQ(Get(), -1);
    const StrictOutcome outcome = SendAndWait(m_client, *MakeRequest(HTTPOPERATION_GET));
    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(outcome.body, "") << "no part of an answer";
    m_client.setPort(RefusingPort());
    EXPECT_EQ(SendAndWait(m_client, *MakeRequest(HTTPOPERATION_GET)).status, -1);
}

TEST_F(StrictHazard, TheWaitOf300s_IsGone) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    LoopbackServer server([](const RecordedRequest&) { return Silence(After::Stall); });
    PointAt(m_client, server);
    m_client.setRequestTimeout(1);
    // More calls than there may be connections: those in line end with their time-out, too.
    const unsigned int calls = pool->GetConnPoolSize() + 5;
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned int i = 0; i < calls; ++i) {
        m_client.asynSendRequest(*MakeRequest(HTTPOPERATION_GET), &Outcomes::Callback, false);
    }
    ASSERT_TRUE(Outcomes::WaitFor(calls));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    for (const Outcome& outcome : Outcomes::All()) {
        EXPECT_EQ(outcome.status, -1);
    }
}

TEST_F(StrictHazardOn, LibcurlsOwnLinesAtLevel2_AreGone) {
    ASSERT_EQ(Get(), 200);
    EXPECT_EQ(TraceRecorder::Instance().CountContaining("== Info"), 0U);
}
