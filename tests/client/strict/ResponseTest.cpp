// SPDX-License-Identifier: Apache-2.0
// What a response holds after a send under the STRICT profile, and what becomes of failures.
#include <string>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/RecordingTrace.h>

#include "BothRoads.h"
#include "interpose/Allocations.h"
#include "message/HttpResponseImp.h"

using namespace httpclient::testing;

namespace {

class StrictResponse : public StrictTest {
protected:
    /// Sends a GET to a server that answers so. @return the result.
    int Get(const Reply& reply, HTTPOPERATIONTYPE verb = HTTPOPERATION_GET) {
        LoopbackServer server([reply](const RecordedRequest&) { return reply; });
        PointAt(m_client, server);
        return m_client.synSendRequest(*MakeRequest(verb), m_response, false);
    }

    StrictClient m_client;
    CHttpResponse m_response;
};

} // namespace

TEST_F(StrictResponse, HasStatusHeadBodyTypeAndLength) {
    EXPECT_EQ(Get(Respond(404, {{"Content-Type", "text/plain; charset=x"}, {"X-Name", "value"}}, "body")),
              404);
    EXPECT_EQ(m_response.getStatusCode(), 404);
    EXPECT_EQ(m_response.getResponseBody(), "body");
    EXPECT_EQ(m_response.getContentType(), "text/plain; charset=x");
    EXPECT_EQ(m_response.getCharset(), "x");
    EXPECT_EQ(m_response.getContentLen(), 4.0);
    EXPECT_EQ(m_response.getResponseHead(), "HTTP/1.1 404 Not Found\r\n"
                                            "Content-Type: text/plain; charset=x\r\n"
                                            "X-Name: value\r\n"
                                            "Content-Length: 4\r\n\r\n");
    EXPECT_EQ(m_response.getResponseHeadNums(), 1U);
    EXPECT_EQ(m_response.getFailure(), nullptr);
}

TEST_F(StrictResponse, HasTheLengthOfTheBodyWhereTheServerTellsNone) {
    EXPECT_EQ(Get(RespondChunked(200, {}, {"one", "two"})), 200);
    EXPECT_EQ(m_response.getResponseBody(), "onetwo");
    EXPECT_EQ(m_response.getContentLen(), 6.0);
    EXPECT_EQ(m_response.getContentType(), "");
    EXPECT_EQ(m_response.getResponseHeadNums(), 1U) << "an empty entry, as ever";
}

TEST_F(StrictResponse, ToHeadHasNoBodyAndTheLengthThatTheServerTells) {
    EXPECT_EQ(Get(RespondHead(200, {{"Content-Length", "77"}}), HTTPOPERATION_HEAD), 200);
    EXPECT_EQ(m_response.getResponseBody(), "");
    EXPECT_EQ(m_response.getContentLen(), 77.0);
}

TEST_F(StrictResponse, IsKeptHoweverLongItIs) {
    const std::string body(65UL * 1024 * 1024, 'b');
    const std::string value(200'000, 'v');
    EXPECT_EQ(Get(Respond(200, {{"X-Long", value}}, body)), 200) << FailureOf(m_response);
    EXPECT_TRUE(m_response.getResponseBody() == body);
}

TEST_F(StrictResponse, HasTheLastOfInterimAnswersAlone) {
    EXPECT_EQ(Get(Raw("HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\nHTTP/1.1 204 No Content\r\n\r\n")), 204);
    EXPECT_EQ(m_response.getResponseHead(), "HTTP/1.1 204 No Content\r\n\r\n");
}

TEST_F(StrictResponse, IsUntouchedByAFailureWhichTellsWhy) {
    UntouchedResponse untouched;
    LoopbackServer server([](const RecordedRequest&) { return Raw("HTTP/1.1 200 OK\r\n", After::Close); });
    PointAt(m_client, server);
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), untouched.get(), false), -1);
    untouched.ExpectUntouched();
    const httpclient::Failure* failure = untouched.get().getFailure();
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->kind(), httpclient::FailureKind::ConnectionLost);
    EXPECT_TRUE(failure->requestSent());
    EXPECT_EQ(failure->attempts(), 1);
    EXPECT_GT(failure->timings().total().count(), 0);
}

TEST_F(StrictResponse, ForgetsTheFailureWithTheNextAnswerOfEitherRoad) {
    for (const auto next : {HTTPTRANSFERPROFILE_STRICT, HTTPTRANSFERPROFILE_COMPATIBLE}) {
        m_client.setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
        EXPECT_EQ(Get(Silence(After::Close)), -1);
        EXPECT_NE(m_response.getFailure(), nullptr);
        EXPECT_EQ(Get(Silence(After::Reset)), -1);
        EXPECT_NE(m_response.getFailure(), nullptr);
        m_client.setTransferProfile(next);
        EXPECT_EQ(Get(Respond(200, {}, "answer")), 200);
        EXPECT_EQ(m_response.getFailure(), nullptr);
    }
}

TEST_F(StrictResponse, OfAHostsOwnClassIsFilledThroughItsSetters) {
    class Shouting final : public CHttpResponseImp {
        void setResponseBody(const std::string& body) override {
            CHttpResponseImp::setResponseBody(body + "!");
        }
    };
    m_response.m_pImp = std::make_unique<Shouting>();
    EXPECT_EQ(Get(Respond(200, {}, "answer")), 200);
    EXPECT_EQ(m_response.getResponseBody(), "answer!");
    EXPECT_EQ(Get(Silence(After::Close)), -1);
    EXPECT_EQ(m_response.getFailure(), nullptr) << "there is no room for it";
    m_response.m_pImp.reset();
    EXPECT_EQ(Get(Respond(200, {}, "answer")), 200);
    EXPECT_EQ(Get(Silence(After::Close)), -1);
}

TEST_F(StrictResponse, TellsOfSettingsThatAreOfNoUse) {
    LoopbackServer server(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_GET);
    for (const int port : {0, -1, 65536}) {
        StrictClient client(server);
        client.setPort(port);
        EXPECT_EQ(client.synSendRequest(*request, m_response, false), -1);
        EXPECT_EQ(FailureOf(m_response), "InvalidRequest in Prepare");
        EXPECT_EQ(SendAndWait(client, *request).failure, "InvalidRequest in Prepare");
    }
    for (const char* domain : {"a b", "host/path", "user@host", "host:1"}) {
        StrictClient client(server);
        client.setDomain(domain);
        EXPECT_EQ(client.synSendRequest(*request, m_response, false), -1) << domain;
        EXPECT_EQ(FailureOf(m_response), "InvalidRequest in Prepare");
    }
}

TEST_F(StrictResponse, ComesFromAnAddressOfEitherForm) {
    for (const char* domain : {"::1", "[::1]", "localhost"}) {
        ServerOptions options;
        options.address = std::string(domain) == "localhost" ? "127.0.0.1" : "::1";
        LoopbackServer server(AnswerAll("answer"), options);
        PointAt(m_client, server);
        m_client.setDomain(domain);
        EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), m_response, false), 200) << domain;
    }
}

TEST_F(StrictResponse, TakesAsLongAsTheTimeOutsSay) {
    LoopbackServer server([](const RecordedRequest&) { return Silence(After::Stall); });
    PointAt(m_client, server);
    m_client.setRequestTimeout(1);
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), m_response, false), -1);
    EXPECT_EQ(FailureOf(m_response), "Timeout in Head");
    m_client.setRequestTimeout(0); // none
    m_client.setConnectTimeout(0); // the default
    EXPECT_EQ(Get(Respond(200, {}, "answer")), 200);
}

TEST_F(StrictResponse, LogsOneLineForEachCall) {
    EXPECT_EQ(Get(Respond(200, {}, "answer")), 200);
    EXPECT_EQ(OwnMessages(2).size(), 1U);
    TraceRecorder::Instance().Clear();
    EXPECT_EQ(Get(Silence(After::Close)), -1);
    EXPECT_EQ(OwnMessages(2).size(), 1U);
    TraceRecorder::Instance().Clear();
    m_client.setPort(0);
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), m_response, false), -1);
    ASSERT_EQ(OwnMessages(2).size(), 1U);
    EXPECT_EQ(OwnMessages(2)[0].substr(0, 27), "[5] HTTP call failed: Inval");
}

TEST_F(StrictResponse, IsWholeOrFailsWhereverMemoryRunsOut) {
    // A type so long that keeping it takes memory, when all else is there.
    LoopbackServer server([](const RecordedRequest&) {
        return Respond(200, {{"Content-Type", "text/" + std::string(100, 't')}}, std::string(1000, 'b'));
    });
    PointAt(m_client, server);
    const auto request = MakeRequest(HTTPOPERATION_POST, "/a/path/that/is/longer/than/a/short/text");
    request->setContent(std::string(100, 'c'));
    request->addRequestHeadEntry("X-A-Name-That-Is-Long-Enough", std::string(100, 'v'));
    request->addParam("name", std::string(100, 'p'));
    int failures = 0;
    std::string last;
    for (std::size_t allocation = 1;; ++allocation) {
        UntouchedResponse response;
        int result = 0;
        bool reached = false;
        {
            const CountedNew counted(allocation);
            result = m_client.synSendRequest(*request, response.get(), false);
            reached = counted.Count() >= allocation;
        }
        if (result == 200) {
            EXPECT_EQ(response.get().getResponseBody(), std::string(1000, 'b'));
        } else {
            ++failures;
            EXPECT_EQ(result, -1);
            EXPECT_NE(response.get().getFailure(), nullptr);
            last = FailureOf(response.get());
            response.ExpectUntouched();
        }
        if (!reached) {
            EXPECT_EQ(result, 200);
            break;
        }
    }
    EXPECT_GT(failures, 5);
    EXPECT_EQ(last, "Internal in Body") << "of the answer that could not be kept";
    EXPECT_EQ(m_client.synSendRequest(*request, m_response, false), 200) << "and the next one succeeds";
}
