// SPDX-License-Identifier: Apache-2.0
// Memory runs out at each allocation of a synchronous send in turn.
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/RecordingTrace.h>

#include "ClientFixture.h"
#include "interpose/Allocations.h"

using namespace httpclient::testing;

namespace {

constexpr std::size_t FAR_TOO_MANY = 10000;

/// A request with something of everything.
std::unique_ptr<CHttpRequest> FullRequest(HTTPOPERATIONTYPE verb) {
    auto request = MakeRequest(verb, "/a/path/that/is/longer/than/a/short/string");
    request->addParam("parameter-with-a-long-name", "value-that-is-longer-than-a-short-string");
    request->addRequestHeadEntry("Header-With-A-Long-Name", "value-that-is-longer-than-a-short-string");
    request->setCustomCookieParam("cookie=value-that-is-longer-than-a-short-string");
    request->setAcceptEncoding("gzip");
    return request;
}

class SynSendMemory : public ClientTest {
protected:
    SynSendMemory() {
        PointAt(m_client, m_server);
        m_conn = NextConnection(m_server);
    }

    /// Sends with the @p failing allocation of this thread refused.
    /// @return whether there was one of that number.
    bool SendShortOfMemory(const CHttpRequest& request, std::size_t failing) {
        UntouchedResponse response;
        int result = 0;
        std::size_t count = 0;
        {
            const CountedNew counted(failing);
            result = m_client.synSendRequest(request, response.get(), false);
            count = counted.Count();
        }
        EXPECT_TRUE(result == 200 || result == -1) << result << " at allocation " << failing;
        if (result == -1) {
            SCOPED_TRACE(failing);
            response.ExpectUntouched(); // all or nothing
            ++m_failed;
            m_told += OwnMessages(5).empty() ? 0 : 1;
        }
        TraceRecorder::Instance().Clear();
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr) << failing;
        EXPECT_EQ(NextConnection(m_server), m_conn) << failing;
        return count >= failing;
    }

    /// Refuses each allocation in turn until a send needs none more.
    void ExpectEverySendToSurvive(HTTPOPERATIONTYPE verb) {
        const auto request = FullRequest(verb);
        std::size_t failing = 1;
        while (SendShortOfMemory(*request, failing)) {
            ASSERT_LT(++failing, FAR_TOO_MANY);
        }
        EXPECT_GT(failing, 5U); // the send does allocate
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(*request, response, false), 200);
        EXPECT_EQ(PooledConnections(m_server), 1U);
    }

    LoopbackServer m_server{AnswerAll("an answer that is longer than a short string")};
    CHttpClient m_client;
    const CHttpConnection* m_conn = nullptr;
    int m_failed = 0; ///< How many of the sends answered -1.
    int m_told = 0;   ///< How many of those said so in the log.
};

} // namespace

TEST_F(SynSendMemory, ExhaustedAnywhereInAGetIsSurvivedAndToldOf) {
    ExpectEverySendToSurvive(HTTPOPERATION_GET);
    EXPECT_GT(m_failed, 5);
    EXPECT_EQ(m_told, m_failed);
}

TEST_F(SynSendMemory, ExhaustedAnywhereInAPostIsSurvivedAndToldOf) {
    ExpectEverySendToSurvive(HTTPOPERATION_POST);
    EXPECT_GT(m_failed, 5);
    EXPECT_EQ(m_told, m_failed);
}

TEST_F(SynSendMemory, ExhaustedWhileTheResponseIsFilledLeavesItAsItWas) {
    TraceRecorder::Instance().SetLowestLevel(5);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    const auto send = [&](UntouchedResponse& response, std::size_t failing, std::size_t& allocations) {
        const CountedNew counted(failing);
        const int result = m_client.synSendRequest(*request, response.get(), false);
        allocations = counted.Count();
        return result;
    };
    std::size_t allocations = 0;
    // The first send may make what is made once in a process, the log's client for one, unless the pool's thread was
    // faster. The second needs what any other needs.
    for (int i = 0; i < 2; ++i) {
        UntouchedResponse filled;
        ASSERT_EQ(send(filled, 0, allocations), 200);
    }
    UntouchedResponse response;
    std::size_t asked = 0;
    EXPECT_EQ(send(response, allocations, asked), -1) << "the last one is the response's";
    EXPECT_GE(asked, allocations);
    response.ExpectUntouched();
    EXPECT_EQ(OwnMessages(5), std::vector<std::string>{"[5] HTTP synSendRequest catch an exception."});
}

TEST_F(SynSendMemory, ExhaustedAnywhereInAHeadIsSurvived) {
    ExpectEverySendToSurvive(HTTPOPERATION_HEAD);
}

TEST_F(SynSendMemory, ExhaustedAnywhereIsSurvivedWithoutALogToo) {
    TraceRecorder::Instance().SetLowestLevel(6);
    ExpectEverySendToSurvive(HTTPOPERATION_PUT);
}

TEST_F(SynSendMemory, ExhaustedWhileAConnectionIsMadeIsSurvived) {
    const auto request = FullRequest(HTTPOPERATION_GET);
    for (std::size_t failing = 1;; ++failing) {
        ASSERT_LT(failing, FAR_TOO_MANY);
        LoopbackServer server(AnswerAll("answer"));
        CHttpConnectionMgr::Finalize();
        CHttpConnectionMgr::Instance();
        CHttpClient client;
        PointAt(client, server);
        UntouchedResponse response;
        int result = 0;
        bool failed = false;
        {
            const CountedNew counted(failing);
            result = client.synSendRequest(*request, response.get(), false);
            failed = counted.Count() >= failing;
        }
        EXPECT_EQ(ImpOf(client).m_curl, nullptr) << failing;
        EXPECT_LE(PooledConnections(server), 1U);
        CHttpResponse next;
        EXPECT_EQ(client.synSendRequest(*request, next, false), 200) << failing;
        EXPECT_EQ(PooledConnections(server), 1U) << failing;
        if (!failed) {
            EXPECT_EQ(result, 200);
            break;
        }
    }
}
