// SPDX-License-Identifier: Apache-2.0
// Everything that a synchronous send asks of libcurl, in order, and what it logs on its way.
#include <algorithm>
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/ResourceListener.h>

#include "ClientFixture.h"
#include "CurlTranscript.h"
#include "GoldenFile.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

class SynSendCalls : public ClientTest {
protected:
    SynSendCalls() { PointAt(m_client, m_server); }

    Lines Send(const CHttpRequest& request, bool bSSL) {
        NextConnection(m_server, bSSL); // so that making it is no part of the list
        const CurlRecorder recorder;
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(request, response, bSSL), 200);
        CurlTranscript transcript;
        transcript.Replace(m_server.authority(), "<server>");
        return transcript.Of(recorder.Events());
    }

    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClient m_client;
};

} // namespace

TEST_F(SynSendCalls, AreAsInTheTranscript) {
    const auto full = MakeRequest(HTTPOPERATION_POST, "/path");
    full->setContent("content");
    full->setCustomCookieParam("a=1");
    full->setAcceptEncoding("gzip");
    full->setContentType("text/plain");
    const auto bare = MakeRequest(HTTPOPERATION_GET, "/path");
    // A TLS connection is one on which libcurl speaks what the URL's scheme says. The pool never closes it, so its
    // descriptors stay.
    ResourceListener::Allow(8, 0);
    ExpectGolden(CLIENT_TEST_DATA "/synchronous-calls.txt",
                 Section("a full POST", Send(*full, false)) +
                     Section("a bare GET: the empty cookie, but no encoding", Send(*bare, false)) +
                     Section("a bare GET over a TLS connection, by the TLS variant", Send(*bare, true)));
}

TEST_F(SynSendCalls, OfATlsSendGoToTheTlsPool) {
    ResourceListener::Allow(8, 0);
    Send(*MakeRequest(HTTPOPERATION_GET, "/path"), true);
    EXPECT_EQ(PooledConnections(m_server, true), 1U);
    EXPECT_EQ(PooledConnections(m_server, false), 0U);
}

TEST_F(SynSendCalls, GoToTheHandleOfTheBorrowedConnection) {
    const CHttpConnection* conn = NextConnection(m_server);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    const CurlRecorder recorder;
    CHttpResponse response;
    EXPECT_EQ(m_client.synSendRequest(*request, response, false), 200);
    EXPECT_FALSE(recorder.Events().empty());
    for (const CurlEvent& event : recorder.Events()) {
        EXPECT_EQ(event.handle, conn->GetCurl());
    }
}

TEST_F(SynSendCalls, ReadTheAnswersTypeBeforeItsLength) {
    const Lines calls = Send(*MakeRequest(HTTPOPERATION_PUT), false);
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[calls.size() - 2], "getinfo CONTENT_TYPE");
    EXPECT_EQ(calls[calls.size() - 1], "getinfo CONTENT_LENGTH_DOWNLOAD");
}

TEST_F(SynSendCalls, SetNoCommonOptionWhenTheVerbCannotBeSent) {
    NextConnection(m_server);
    const auto request = MakeRequest(HTTPOPERATION_NOT_SET);
    const CurlRecorder recorder;
    CHttpResponse response;
    EXPECT_EQ(m_client.synSendRequest(*request, response, false), -1);
    EXPECT_EQ(CurlTranscript().Of(recorder.Events()),
              (Lines{"setopt HEADERDATA=a pointer", "setopt HEADERFUNCTION=OnCurlWrite",
                     "setopt DEBUGFUNCTION=OnCurlDebug", "setopt VERBOSE=1", "setopt COOKIE=\"\""}));
}

TEST_F(SynSendCalls, LogTheUrlWithoutItsParametersAtLevel2First) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addParam("name", "value");
    Send(*request, false);
    const Lines messages = OwnMessages(0);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0], "[2] HTTP syncSendRequest URL is: " + m_server.url("/path"));
}

TEST_F(SynSendCalls, LogLibcurlsInformationalLinesAtLevel2AndNothingElse) {
    const auto request = MakeRequest(HTTPOPERATION_POST, "/path");
    request->addRequestHeadEntry("Secret-Name", "secret-value");
    request->setContent("secret-content");
    Send(*request, false);
    Lines messages = OwnMessages(0);
    ASSERT_GT(messages.size(), 1U);
    messages.erase(messages.begin()); // the URL
    EXPECT_EQ(messages[0], "[2] == Info:   Trying 127.0.0.1:" + std::to_string(m_server.port()) + "...\n");
    for (const std::string& message : messages) {
        EXPECT_EQ(message.rfind("[2] == Info: ", 0), 0U) << message;
    }
    for (const char* part : {"Secret-Name", "secret-value", "secret-content", "HTTP/1.1 200"}) {
        EXPECT_EQ(TraceRecorder::Instance().CountContaining(part), 0U) << part;
    }
}

TEST_F(SynSendCalls, LogNoParameterWhenLibcurlSendsAgainEither) {
    LoopbackServer server([](const RecordedRequest& request) {
        const bool dropped = request.connection == 1 && request.number == 2;
        return dropped ? Silence(After::Close) : Respond(200);
    });
    PointAt(m_client, server);
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addParam("secret-name", "secret-value");
    Send(*request, false);
    Send(*request, false);
    const TraceRecorder& log = TraceRecorder::Instance();
    EXPECT_EQ(log.CountContaining("Issue another request to this URL: '" + server.url("/path") + "?...\n"),
              1U);
    EXPECT_EQ(log.CountContaining("secret-"), 0U);
}

TEST_F(SynSendCalls, LogNothingWhenDetailIsOff) {
    TraceRecorder::Instance().SetLowestLevel(3);
    Send(*MakeRequest(HTTPOPERATION_GET), false);
    EXPECT_EQ(OwnMessages(0), Lines{});
    EXPECT_LE(TraceRecorder::Instance().Formatted(), 1U); // the pool's own thread says that it has begun
}
