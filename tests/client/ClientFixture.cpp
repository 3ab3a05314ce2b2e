// SPDX-License-Identifier: Apache-2.0
#include "ClientFixture.h"

#include <thread>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/RecordingTrace.h>

using namespace httpclient::testing;

ClientTest::ClientTest() {
    TraceRecorder::Instance().SetLowestLevel(0);
    TraceRecorder::Instance().Clear();
}

ClientTest::~ClientTest() {
    CHttpConnectionMgr::Finalize();
}

std::vector<std::string> OwnMessages(int lowestLevel) {
    std::vector<std::string> texts;
    for (const TracedMessage& message : TraceRecorder::Instance().Messages()) {
        if (message.thread == std::this_thread::get_id() && message.level >= lowestLevel) {
            EXPECT_EQ(message.module, 1) << message.body;
            texts.push_back("[" + std::to_string(message.level) + "] " + message.body);
        }
    }
    return texts;
}

void ExpectLogged(const std::vector<std::string>& messages, const std::vector<std::string>& expected) {
    if (CHttpClient().getTransferProfile() == HTTPTRANSFERPROFILE_COMPATIBLE) {
        EXPECT_EQ(messages, expected);
        return;
    }
    EXPECT_FALSE(messages.empty());
    for (const std::string& message : messages) {
        EXPECT_EQ(message.substr(4, 10), "HTTP call ") << message;
    }
}

std::unique_ptr<CHttpRequest> MakeRequest(HTTPOPERATIONTYPE verb, const std::string& path) {
    auto request = std::make_unique<CHttpRequest>();
    request->setVerb(verb);
    request->setUrlPath(path);
    return request;
}

CHttpConnection* NextConnection(const std::string& domain, int port, bool bSSL) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    CHttpConnection* conn = pool->GetConn(domain, static_cast<unsigned int>(port), bSSL);
    if (conn != nullptr) {
        pool->ReleaseConn(conn);
    }
    return conn;
}

CHttpConnection* NextConnection(const LoopbackServer& server, bool bSSL) {
    return NextConnection(server.address(), server.port(), bSSL);
}

std::size_t PooledConnections(const LoopbackServer& server, bool bSSL) {
    const CHttpConnectionMgr::ConnList* list = CHttpConnectionMgr::Instance()->GetConnList(
        server.address() + ":" + std::to_string(server.port()), bSSL);
    return list != nullptr ? list->size() : 0;
}

std::uint16_t RefusingPort() {
    return 1; // nobody listens there, and the kernel never gives it to a server of a test that runs beside
              // this one
}

LoopbackServer::Handler AnswerAll(const std::string& body) {
    return [body](const RecordedRequest& request) {
        return request.method == "HEAD" ? RespondHead(200, {{"Content-Length", std::to_string(body.size())}})
                                        : Respond(200, {}, body);
    };
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

UntouchedResponse::UntouchedResponse() {
    m_response.setStatusCode(299);
    m_response.setResponseBody("old body");
    m_response.setResponseHead("old head");
    m_response.setContentLen(77.0);
}

void UntouchedResponse::ExpectUntouched() const {
    EXPECT_EQ(m_response.getStatusCode(), 299);
    EXPECT_EQ(m_response.getResponseBody(), "old body");
    EXPECT_EQ(m_response.getResponseHead(), "old head");
    EXPECT_EQ(m_response.getContentLen(), 77.0);
    EXPECT_EQ(m_response.getResponseHeadNums(), 0U);
}
