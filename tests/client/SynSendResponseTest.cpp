// SPDX-License-Identifier: Apache-2.0
// What a synchronous send makes of the answer.
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"
#include "Verbs.h"

using namespace httpclient::testing;

namespace {

using Messages = std::vector<std::string>;

class SynSendResponse : public ClientTest {
protected:
    /// Sends a request that is answered so. @return what the send returned.
    int Receive(const Reply& reply, HTTPOPERATIONTYPE verb = HTTPOPERATION_GET) {
        LoopbackServer server([reply](const RecordedRequest& /*request*/) { return reply; });
        CHttpClient client;
        PointAt(client, server);
        const int result = client.synSendRequest(*MakeRequest(verb, "/path"), m_response, false);
        EXPECT_EQ(server.requests().size(), 1U);
        return result;
    }

    CHttpResponse m_response;
};

} // namespace

TEST_F(SynSendResponse, HoldsStatusHeadBodyTypeAndLength) {
    EXPECT_EQ(Receive(Respond(201, {{"Content-Type", "text/plain; charset=utf-8"}, {"A", "1"}},
                              std::string("bo\0dy", 5))),
              201);
    EXPECT_EQ(m_response.getStatusCode(), 201);
    EXPECT_EQ(m_response.getResponseBody(), std::string("bo\0dy", 5));
    EXPECT_EQ(m_response.getContentType(), "text/plain; charset=utf-8");
    EXPECT_EQ(m_response.getContentLen(), 5.0);
    EXPECT_EQ(m_response.getCharset(), "utf-8");
    EXPECT_EQ(m_response.getResponseHead(), "HTTP/1.1 201 Created\r\n"
                                            "Content-Type: text/plain; charset=utf-8\r\n"
                                            "A: 1\r\n"
                                            "Content-Length: 5\r\n\r\n");
    EXPECT_EQ(m_response.getResponseHeadNums(), 1U); // the content type alone; the rest is in the raw head
    ExpectLogged(OwnMessages(3), Messages{});
}

TEST_F(SynSendResponse, IsFilledForEveryStatus) {
    for (const int status : {200, 299, 301, 304, 400, 401, 404, 417, 500, 503, 599, 999}) {
        EXPECT_EQ(Receive(Respond(status, {}, status == 304 ? "" : "body")), status);
        EXPECT_EQ(m_response.getStatusCode(), status);
        EXPECT_EQ(m_response.getResponseBody(), status == 304 ? "" : "body");
    }
    ExpectLogged(OwnMessages(3), Messages{});
}

TEST_F(SynSendResponse, FollowsNoRedirection) {
    EXPECT_EQ(Receive(Respond(302, {{"Location", "/elsewhere"}}, "moved")), 302);
    EXPECT_EQ(m_response.getResponseBody(), "moved");
}

TEST_F(SynSendResponse, OfStatus403IsTakenAsItIsWhenNoServiceIsConfigured) {
    for (const Verb& verb : VERBS) {
        const Reply refusal = verb.type == HTTPOPERATION_HEAD ? RespondHead(403, {{"Content-Length", "2"}})
                                                              : Respond(403, {}, "no");
        EXPECT_EQ(Receive(refusal, verb.type), 403) << verb.name; // Receive() sees exactly one request
    }
    ExpectLogged(OwnMessages(3), Messages{});
}

TEST_F(SynSendResponse, HasTheBodysLengthWhenTheServerChunks) {
    EXPECT_EQ(Receive(RespondChunked(200, {}, {"abc", "de", "f"})), 200);
    EXPECT_EQ(m_response.getResponseBody(), "abcdef");
    EXPECT_EQ(m_response.getContentLen(), 6.0);
}

TEST_F(SynSendResponse, HasTheBodysLengthWhenTheServerEndsItByClosing) {
    EXPECT_EQ(Receive(RespondUntilClose(200, {}, "until here")), 200);
    EXPECT_EQ(m_response.getResponseBody(), "until here");
    EXPECT_EQ(m_response.getContentLen(), 10.0);
}

TEST_F(SynSendResponse, HasLengthZeroWithoutABody) {
    EXPECT_EQ(Receive(RespondHead(204)), 204);
    EXPECT_EQ(m_response.getResponseBody(), "");
    EXPECT_EQ(m_response.getContentLen(), 0.0);
}

TEST_F(SynSendResponse, OfAHeadHasTheServersLengthAndTheHeadForABody) {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 1234\r\n\r\n";
    EXPECT_EQ(Receive(Raw(head), HTTPOPERATION_HEAD), 200);
    EXPECT_EQ(m_response.getContentLen(), 1234.0);
    EXPECT_EQ(m_response.getResponseHead(), head);
    EXPECT_EQ(m_response.getResponseBody(), head); // libcurl's HEADER option puts it there; no body follows
}

TEST_F(SynSendResponse, OfAHeadWithoutALengthHasThatOfTheHead) {
    const std::string head = "HTTP/1.1 200 OK\r\nA: 1\r\n\r\n";
    EXPECT_EQ(Receive(Raw(head), HTTPOPERATION_HEAD), 200);
    EXPECT_EQ(m_response.getContentLen(), static_cast<double>(head.size()));
}

TEST_F(SynSendResponse, KeepsTheFirstContentTypeWhenItIsUsedAgain) {
    EXPECT_EQ(Receive(Respond(200, {{"Content-Type", "text/first"}}, "first body")), 200);
    EXPECT_EQ(Receive(Respond(202, {{"Content-Type", "text/second"}}, "second")), 202);
    EXPECT_EQ(m_response.getContentType(), "text/first");
    EXPECT_EQ(m_response.getStatusCode(), 202);
    EXPECT_EQ(m_response.getResponseBody(), "second");
    EXPECT_EQ(m_response.getContentLen(), 6.0);
    EXPECT_EQ(m_response.getResponseHead().find("first"), std::string::npos);
}

TEST_F(SynSendResponse, KeepsTheEmptyContentTypeOfAnAnswerThatHadNone) {
    EXPECT_EQ(Receive(Respond(200, {}, "")), 200);
    EXPECT_EQ(Receive(Respond(200, {{"Content-Type", "text/second"}}, "")), 200);
    EXPECT_EQ(m_response.getContentType(), "");
    EXPECT_EQ(m_response.getResponseHeadNums(), 1U);
}

TEST_F(SynSendResponse, HoldsTheInterimAnswersHeadToo) {
    EXPECT_EQ(
        Receive(Raw("HTTP/1.1 100 Continue\r\nB: 2\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok")),
        200);
    EXPECT_EQ(m_response.getResponseBody(), "ok");
    EXPECT_EQ(m_response.getResponseHead(),
              "HTTP/1.1 100 Continue\r\nB: 2\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n");
}
