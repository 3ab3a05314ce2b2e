// SPDX-License-Identifier: Apache-2.0
// What is set up around a transfer, and what is read after it.
#include <string>
#include <vector>

#include <curl/curl.h>

#include "ClientFixture.h"
#include "CurlTranscript.h"
#include "client/HttpClientImp.h"
#include "interpose/CurlRecorder.h"
#include "support/CurlOwners.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

/// A client with a handle of its own, as if a send had borrowed it.
class ResponseInfo : public ClientTest {
protected:
    ResponseInfo() { m_client.m_curl = m_handle.get(); }
    ~ResponseInfo() override { m_client.m_curl = nullptr; }

    /// Runs a GET that is answered so.
    void Receive(const Reply& reply) {
        const LoopbackServer server([reply](const RecordedRequest& /*request*/) { return reply; });
        ASSERT_EQ(m_client.HttpGet(server.url(), m_body, nullptr), 200);
    }

    CurlEasyPtr m_handle{curl_easy_init()};
    CHttpClientImp m_client;
    std::string m_body;
};

} // namespace

TEST_F(ResponseInfo, IsAskedForWithTheseOptions) {
    std::string head;
    CurlTranscript transcript;
    transcript.Name(&head, "head");
    const CurlRecorder recorder;
    m_client.GetResponseHead(head);
    EXPECT_EQ(transcript.Of(recorder.Events()),
              (Lines{"setopt HEADERDATA=head", "setopt HEADERFUNCTION=OnCurlWrite"}));
}

TEST_F(ResponseInfo, HasTheRawHeadAppended) {
    std::string head = "old ";
    m_client.GetResponseHead(head);
    Receive(Raw("HTTP/1.1 200 Fine\r\nA:1\r\nB: \t2  \r\nA: 3\r\nContent-Length: 2\r\n\r\nok"));
    EXPECT_EQ(head, "old HTTP/1.1 200 Fine\r\nA:1\r\nB: \t2  \r\nA: 3\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(m_body, "ok");
}

TEST_F(ResponseInfo, IsDecodedWithTheseOptions) {
    const CurlRecorder recorder;
    m_client.SetDecodingHttpResponse("gzip, deflate");
    EXPECT_EQ(CurlTranscript().Of(recorder.Events()),
              (Lines{"setopt ACCEPT_ENCODING=\"gzip, deflate\"", "setopt HTTP_CONTENT_DECODING=1"}));
}

TEST_F(ResponseInfo, IsNothingWithoutAHandle) {
    m_client.m_curl = nullptr;
    std::string head;
    const CurlRecorder recorder;
    m_client.GetResponseHead(head);
    m_client.SetDecodingHttpResponse("gzip");
    EXPECT_EQ(m_client.GetResponseCntType(), "");
    EXPECT_EQ(m_client.GetResponseCntLength(), 0.0);
    EXPECT_TRUE(recorder.Events().empty());
    EXPECT_EQ(OwnMessages(0), Lines{});
}

TEST_F(ResponseInfo, OfAFreshHandleIsUnknown) {
    EXPECT_EQ(m_client.GetResponseCntType(), "");
    EXPECT_EQ(m_client.GetResponseCntLength(), -1.0);
}

TEST_F(ResponseInfo, IsLibcurlsOwn) {
    Receive(Respond(200, {{"Content-Type", "text/plain; charset=utf-8"}}, "12345"));
    EXPECT_EQ(m_client.GetResponseCntType(), "text/plain; charset=utf-8");
    EXPECT_EQ(m_client.GetResponseCntLength(), 5.0);
}

TEST_F(ResponseInfo, HasNoTypeWhenTheServerTellsNone) {
    Receive(Respond(200, {}, "12345"));
    EXPECT_EQ(m_client.GetResponseCntType(), "");
}

TEST_F(ResponseInfo, HasNoLengthWhenTheServerTellsNone) {
    Receive(RespondChunked(200, {}, {"123", "45"}));
    EXPECT_EQ(m_client.GetResponseCntLength(), -1.0);
}

TEST_F(ResponseInfo, OfLengthZeroIsZero) {
    Receive(Respond(200, {}, ""));
    EXPECT_EQ(m_client.GetResponseCntLength(), 0.0);
}

TEST_F(ResponseInfo, IsEmptyWhenLibcurlCannotTell) {
    Receive(Respond(200, {{"Content-Type", "text/plain"}}, "12345"));
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyGetinfo, CURLE_UNKNOWN_OPTION, 1);
    recorder.Force(CurlCall::EasyGetinfo, CURLE_UNKNOWN_OPTION, 2);
    EXPECT_EQ(m_client.GetResponseCntType(), "");
    EXPECT_EQ(m_client.GetResponseCntLength(), 0.0);
}
