// SPDX-License-Identifier: Apache-2.0
// The synchronous sends that fail: what they return, log and leave behind.
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>

#include "ClientFixture.h"
#include "Verbs.h"
#include "interpose/CurlRecorder.h"
#include "message/HttpRequestImp.h"

using namespace httpclient::testing;

namespace {

using Messages = std::vector<std::string>;

/// What a failed send of a verb logs when no response has come.
Messages TransferMessages(HTTPOPERATIONTYPE verb, int result) {
    const std::string code = " curl_easy_perform call failed, error no is:" + std::to_string(result);
    switch (verb) {
    case HTTPOPERATION_GET:
        return {"[5] HTTP synSendRequest::HttpGet" + code};
    case HTTPOPERATION_PUT:
        return {"[5] HTTP synSendRequest::Put" + code};
    case HTTPOPERATION_POST:
        return {"[5] HTTP asynSendRequest failed,the response code is : 0"};
    case HTTPOPERATION_DELETE:
        return {"[5] HTTP synSendRequest::Delete" + code};
    default:
        return {};
    }
}

/// A request whose body cannot be had.
class FailingRequest : public CHttpRequestImp {
public:
    explicit FailingRequest(std::function<void()> fail) : m_fail(std::move(fail)) {}
    std::string getContent() const override {
        m_fail();
        return "";
    }

private:
    std::function<void()> m_fail;
};

class SynSendFailure : public ClientTest {
protected:
    SynSendFailure() { PointAt(m_client, m_server); }

    int Send(const CHttpRequest& request) {
        return m_client.synSendRequest(request, m_response.get(), false);
    }

    /// Expects that the connection is back and that the next send works on it.
    void ExpectRecovery(const CHttpConnection* conn) {
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
        EXPECT_EQ(NextConnection(m_server), conn);
        EXPECT_EQ(PooledConnections(m_server), 1U);
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response, false), 200);
        EXPECT_EQ(response.getResponseBody(), "answer");
    }

    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClient m_client;
    UntouchedResponse m_response;
};

} // namespace

TEST_F(SynSendFailure, OfAnEmptyDomainNeedsNoConnection) {
    ImpOf(m_client).m_strDomain.clear();
    const auto request = MakeRequest(HTTPOPERATION_GET);
    const CurlRecorder recorder;
    EXPECT_EQ(Send(*request), -1);
    EXPECT_EQ(OwnMessages(0), Messages{"[5] HTTP synSendRequest, domain is empty!"});
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    EXPECT_TRUE(recorder.Events().empty());
    m_response.ExpectUntouched();
}

TEST_F(SynSendFailure, OfAVerbThatCannotBeSentIsNotLogged) {
    const CHttpConnection* conn = NextConnection(m_server);
    for (const int verb : {6, 0, 7, -1, 2147483647}) {
        const auto request = MakeRequest(static_cast<HTTPOPERATIONTYPE>(verb), "/path");
        EXPECT_EQ(Send(*request), -1) << verb;
        m_response.ExpectUntouched();
    }
    EXPECT_EQ(OwnMessages(3), Messages{});
    EXPECT_EQ(OwnMessages(0), Messages(5, "[2] HTTP syncSendRequest URL is: " + m_server.url("/path")));
    EXPECT_EQ(m_server.connectionsAccepted(), 0U);
    ExpectRecovery(conn);
}

TEST_F(SynSendFailure, OfAVerbThatCannotBeSentFreesTheHeaderList) {
    const auto request = MakeRequest(HTTPOPERATION_NOT_SET);
    request->addRequestHeadEntry("A", "1");
    const CurlRecorder recorder;
    EXPECT_EQ(Send(*request), -1);
    EXPECT_EQ(recorder.Events(CurlCall::SlistAppend).size(), 1U);
    EXPECT_EQ(recorder.Events(CurlCall::SlistFreeAll).size(), 1U);
}

TEST_F(SynSendFailure, OfATransferIsLoggedByTheTransferAlone) {
    for (const Verb& verb : VERBS) {
        m_client.setPort(RefusingPort());
        const std::size_t before = OwnMessages(3).size();
        EXPECT_EQ(Send(*MakeRequest(verb.type)), -1) << verb.name;
        Messages messages = OwnMessages(3);
        messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(before));
        EXPECT_EQ(messages, TransferMessages(verb.type, CURLE_COULDNT_CONNECT));
        m_response.ExpectUntouched();
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
    }
}

TEST_F(SynSendFailure, OfATransferFreesTheHeaderListAndAsksForNothingMore) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("A", "1");
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyPerform, CURLE_RECV_ERROR);
    EXPECT_EQ(Send(*request), -1);
    EXPECT_EQ(recorder.Events().back().call, CurlCall::SlistFreeAll);
    EXPECT_TRUE(recorder.Events(CurlCall::EasyGetinfo).empty());
}

TEST_F(SynSendFailure, GivesTheConnectionBackWhateverLibcurlsResult) {
    const CHttpConnection* conn = NextConnection(m_server);
    for (const Verb& verb : VERBS) {
        CurlRecorder recorder;
        recorder.Force(CurlCall::EasyPerform, CURLE_OPERATION_TIMEDOUT);
        EXPECT_EQ(Send(*MakeRequest(verb.type)), -1);
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
        EXPECT_EQ(NextConnection(m_server), conn);
    }
    m_response.ExpectUntouched();
}

TEST_F(SynSendFailure, OfAConnectionWithoutAHandleIsLoggedByTheTransfer) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit, 0, 2); // the first is the request's own
    const auto request = MakeRequest(HTTPOPERATION_GET);
    EXPECT_EQ(Send(*request), -1);
    EXPECT_EQ(OwnMessages(3), Messages{"[5] HTTP synSendRequest::HttpGet m_curl is nullptr."});
    EXPECT_TRUE(recorder.Events(CurlCall::EasySetopt).empty());
    m_response.ExpectUntouched();
}

TEST_F(SynSendFailure, OfMemoryIsAResultAndNeverAnException) {
    const CHttpConnection* conn = NextConnection(m_server);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->m_pImp = std::make_unique<FailingRequest>([] { throw std::bad_alloc(); });
    int result = 0;
    EXPECT_NO_THROW(result = Send(*request));
    EXPECT_EQ(result, -1);
    EXPECT_EQ(OwnMessages(3), Messages{"[5] HTTP synSendRequest catch an exception."});
    m_response.ExpectUntouched();
    ExpectRecovery(conn);
}

TEST_F(SynSendFailure, OfATextBeyondAllLengthsIsTheOneExceptionLetOut) {
    const CHttpConnection* conn = NextConnection(m_server);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->m_pImp =
        std::make_unique<FailingRequest>([] { throw std::length_error("basic_string::append"); });
    EXPECT_THROW(Send(*request), std::length_error);
    m_response.ExpectUntouched();
    ExpectRecovery(conn);
}

TEST_F(SynSendFailure, LeavesNothingBehindWhenItSucceedsEither) {
    const CHttpConnection* conn = NextConnection(m_server);
    for (const Verb& verb : VERBS) {
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(*MakeRequest(verb.type), response, false), 200);
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
        EXPECT_EQ(NextConnection(m_server), conn);
    }
    EXPECT_EQ(PooledConnections(m_server), 1U);
}
