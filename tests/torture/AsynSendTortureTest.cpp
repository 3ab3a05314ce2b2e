// SPDX-License-Identifier: Apache-2.0
// An asynchronous request, with each of its fallible calls failing in turn, on either side of its thread.
#include <atomic>
#include <new>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/RecordingTrace.h>

#include "Requests.h"
#include "TortureTest.h"

using namespace httpclient::testing;

namespace {

std::atomic<int> g_calls{0};
std::atomic<int> g_status{0};

void NoteCall(const CHttpResponse& response) {
    const WithoutFaults exempt;
    ++g_calls;
    g_status = response.getStatusCode();
}

class AsynSendTorture : public TortureTest, public ::testing::WithParamInterface<HTTPOPERATIONTYPE> {
protected:
    AsynSendTorture() { m_secrets = {SECRET_HEADER, SECRET_COOKIE, SECRET_BODY}; }

    void Prepare() override {
        CHttpConnectionMgr::Instance();
        g_calls = 0;
        m_sent = false;
    }
    void Run() override {
        try {
            CHttpClient client;
            client.setDomain(m_server.address());
            client.setPort(m_server.port());
            CHttpRequest request;
            Fill(request, GetParam());
            m_sent = true;
            Send(client, request);
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(m_sent);
        }
    }
    void Settle() override { ASSERT_TRUE(FaultPlan::WaitForThreads()); }
    void ExpectOutcome() override {
        const bool unstarted = TraceRecorder::Instance().CountContaining("failed to spawn the thread") > 0;
        EXPECT_EQ(g_calls, m_sent && !unstarted ? 1 : 0);
        if (g_calls > 0) {
            EXPECT_TRUE(g_status == 200 || g_status == 0 || g_status == -1) << g_status;
        }
    }
    void ExpectNextToWork() override {
        Prepare();
        Run();
        EXPECT_TRUE(WaitUntilAllAreBack());
        EXPECT_EQ(g_calls, 1);
        EXPECT_EQ(g_status, 200);
    }

private:
    static void Send(CHttpClient& client, const CHttpRequest& request) noexcept {
        client.asynSendRequest(request, &NoteCall, false);
    }

    LoopbackServer m_server{&AnswerAll};
    bool m_sent = false;
};

} // namespace

TEST_P(AsynSendTorture, IsSurvived) {
    Torture();
}

INSTANTIATE_TEST_SUITE_P(Verb, AsynSendTorture, ::testing::Values(HTTPOPERATION_GET, HTTPOPERATION_POST),
                         [](const auto& verb) { return NameOf(verb.param); });
