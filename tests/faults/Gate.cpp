// SPDX-License-Identifier: Apache-2.0
#include "Gate.h"

#include <ace/Guard_T.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "pool/HttpConnection.h"
#include "setting/Callback.h"
#include "setting/Log.h"

using namespace httpclient::testing;

namespace {

constexpr unsigned int LONGEST_REQUEST = 30; // seconds
constexpr unsigned int SHORTEST_REQUEST = 2; // what does come has come by then

void ExpectPoolInOrder() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(pool->m_PoolLock);
    for (const auto* connections : {&pool->m_mapHttpConn, &pool->m_mapHttpsConn}) {
        for (const auto& [address, list] : *connections) {
            EXPECT_EQ(list->size(), 1U) << address;
            for (const CHttpConnection* conn : *list) {
                EXPECT_TRUE(conn->IsIdle()) << address;
            }
        }
    }
}

/// The number that libcurl gave the last failed request, from the log.
int LastError() {
    const std::string before = "error no is:";
    int error = 0;
    for (const std::string& line : Logged(5)) {
        const std::size_t at = line.find(before);
        if (at != std::string::npos) {
            error = std::stoi(line.substr(at + before.size()));
        }
    }
    return error;
}

} // namespace

Reply Sound() {
    return Respond(200, {}, "sound");
}

GateTest::GateTest() {
    StartLog();
    m_client.setRequestTimeout(LONGEST_REQUEST); // a busy machine may take its time
}

GateTest::~GateTest() {
    ExpectPoolInOrder();
}

void GateTest::PointAt(const std::string& address, int port, Way way) {
    m_client.setScheme(IsTls(way) ? "https" : "http");
    m_client.setDomain(address);
    m_client.setPort(port);
}

void GateTest::PointAt(const LoopbackServer& server, Way way) {
    PointAt(server.address(), server.port(), way);
}

GateTest::Outcome GateTest::Send(Way way, HTTPOPERATIONTYPE verb, const std::string& content) {
    CHttpRequest request;
    request.setVerb(verb);
    request.setUrlPath("/");
    request.setContent(content);
    if (way == Way::Asynchronous) {
        const AsynResult outcome = AsynSend(m_client, request, false);
        return {outcome.status, outcome.body, 0, outcome.failure};
    }
    CHttpResponse response;
    const int result = m_client.synSendRequest(request, response, IsTls(way));
    return {result, response.getResponseBody(), result == -1 ? LastError() : 0, FailureOf(response)};
}

GateTest::Outcome GateTest::SendUntilTimeout(Way way) {
    m_client.setRequestTimeout(SHORTEST_REQUEST);
    Outcome outcome = Send(way);
    m_client.setRequestTimeout(LONGEST_REQUEST);
    return outcome;
}

void GateTest::ExpectFailure(const Outcome& outcome, Way way, int error, const std::string& failure) const {
    const bool none = IsStrict() || way == Way::Asynchronous;
    EXPECT_EQ(outcome.result, !IsStrict() && way == Way::Asynchronous ? 0 : -1);
    EXPECT_EQ(outcome.error, none ? 0 : error);
    EXPECT_EQ(outcome.failure, IsStrict() ? failure : "");
}

void GateTest::ExpectNextToWork(Way way) {
    for (int i = 0; i < 2; ++i) {
        const Outcome outcome = Send(way);
        EXPECT_EQ(outcome.result, 200);
        EXPECT_EQ(outcome.body, "sound");
    }
}
