// SPDX-License-Identifier: Apache-2.0
#include "BothRoads.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Patience.h>
#include <httpclient/testing/RecordingTrace.h>

#include "GoldenFile.h"

using namespace httpclient::testing;

namespace {

/// Where the callback, which is a plain function, puts what it is given.
class Reports {
public:
    static void Take(const CHttpResponse& response) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_report = StrictOutcome{response.getStatusCode(), response.getResponseBody(), FailureOf(response)};
        m_changed.notify_all();
    }
    static std::optional<StrictOutcome> Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, PATIENCE, [] { return m_report.has_value(); });
        return std::exchange(m_report, std::nullopt);
    }

private:
    inline static std::mutex m_mutex;
    inline static std::condition_variable m_changed;
    inline static std::optional<StrictOutcome> m_report;
};

} // namespace

StrictTest::StrictTest() {
    CHttpConnectionMgr::Instance()->SetRlsTime(30); // tests of TLS shorten it to close what the pool keeps
    TraceRecorder::Instance().Clear();
}

std::string FailureOf(const CHttpResponse& response) {
    const httpclient::Failure* failure = response.getFailure();
    return failure == nullptr ? "none"
                              : std::string(ToString(failure->kind())) + " in " + ToString(failure->phase());
}

StrictOutcome SendAndWait(const CHttpClient& client, const CHttpRequest& request, bool bSSL) {
    const_cast<CHttpClient&>(client).asynSendRequest(request, &Reports::Take, bSSL);
    const std::optional<StrictOutcome> report = Reports::Wait();
    EXPECT_TRUE(report.has_value()) << "no callback";
    return report.value_or(StrictOutcome{});
}

Conversation::Conversation(HTTPTRANSFERPROFILE profile, LoopbackServer::Handler handler)
    : Conversation(profile, std::make_unique<LoopbackServer>(std::move(handler))) {}

Conversation::Conversation(HTTPTRANSFERPROFILE profile, std::unique_ptr<LoopbackServer> server)
    : m_server(std::move(server)) {
    m_client.setTransferProfile(profile);
    PointAt(m_client, *m_server);
}

void Conversation::Send(const CHttpRequest& request, bool bSSL) {
    const std::size_t before = m_server->requests().size();
    CHttpResponse response;
    const int result = m_client.synSendRequest(request, response, bSSL);
    WriteRequests(before);
    WriteOutcome("result", result, result == -1 ? "" : response.getResponseBody(), FailureOf(response));
}

void Conversation::SendForHead(const CHttpRequest& request) {
    CHttpResponse response;
    const int result = m_client.synSendRequest(request, response, false);
    WriteOutcome("result", result, result == -1 ? "" : response.getResponseBody(), FailureOf(response));
    m_text += result == -1 ? "" : "head:\n" + Shown(response.getResponseHead(), "< ");
}

void Conversation::AsynSend(const CHttpRequest& request, bool bSSL) {
    const std::size_t before = m_server->requests().size();
    const StrictOutcome outcome = SendAndWait(m_client, request, bSSL);
    ASSERT_TRUE(WaitUntilAllAreBack());
    WriteRequests(before);
    WriteOutcome("callback: status", outcome.status, outcome.body, outcome.failure);
}

void Conversation::WriteRequests(std::size_t before) {
    const auto requests = m_server->requests();
    for (std::size_t i = before; i < requests.size(); ++i) {
        m_text += Shown(Replaced(requests[i].raw, m_server->authority(), "<server>"), "> ");
    }
}

void Conversation::WriteOutcome(const std::string& what, int status, const std::string& body,
                                const std::string& failure) {
    m_text += what + " " + std::to_string(status);
    if (failure != "none") {
        m_text += ": " + failure;
    }
    m_text += body.empty() ? "\n" : ", body:\n" + Shown(body, "< ");
}

void ExpectBothRoads(const std::string& name,
                     const std::function<std::unique_ptr<LoopbackServer>()>& makeServer,
                     const std::function<void(Conversation&)>& talk) {
    std::string text;
    for (const auto profile : {HTTPTRANSFERPROFILE_COMPATIBLE, HTTPTRANSFERPROFILE_STRICT}) {
        CHttpConnectionMgr::Finalize(); // neither finds a connection of another test
        Conversation conversation(profile, makeServer());
        talk(conversation);
        text += (profile == HTTPTRANSFERPROFILE_STRICT ? "STRICT\n" : "COMPATIBLE\n") + conversation.text();
    }
    ExpectGolden(CLIENT_TEST_DATA "/../../docs/data/strict-" + name + ".txt", text);
}

void ExpectBothRoads(const std::string& name, const LoopbackServer::Handler& handler,
                     const std::function<void(Conversation&)>& talk) {
    ExpectBothRoads(
        name, [&] { return std::make_unique<LoopbackServer>(handler); }, talk);
}
