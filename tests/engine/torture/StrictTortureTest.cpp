// SPDX-License-Identifier: Apache-2.0
// Sends of CHttpClient under the STRICT profile, with each of their fallible calls failing in turn. The shared engine
// begins with each, and ends with it.
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/HttpTransferProfile.h>

#include "torture/Torture.h"

namespace {

/// @return what a response says.
Ended EndOf(const CHttpResponse& response) {
    const WithoutFaults exempt;
    Ended ended;
    ended.told = std::to_string(response.getStatusCode()) + " " + response.getResponseBody();
    if (const Failure* failure = response.getFailure()) {
        ended.told = std::string(ToString(failure->kind())) + " in " + ToString(failure->phase());
        ended.sent = failure->requestSent();
        ended.code = failure->code();
    }
    return ended;
}

/// The outcomes of an asynchronous send, whose callback is a plain function.
class Outcomes {
public:
    static void Clear() {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_ended = Ended();
        m_ended.outcomes = 0;
    }
    static void Callback(const CHttpResponse& response) {
        const WithoutFaults exempt;
        const Ended ended = EndOf(response);
        const std::lock_guard<std::mutex> lock(m_lock);
        const std::size_t outcomes = m_ended.outcomes + 1;
        m_ended = ended;
        m_ended.outcomes = outcomes;
        m_changed.notify_all();
    }
    /// Waits for the first. @return it, and how many there are.
    static Ended Wait() {
        const WithoutFaults exempt;
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait_for(lock, kit::PATIENCE, [] { return m_ended.outcomes > 0; });
        return m_ended;
    }

private:
    static inline std::mutex m_lock;
    static inline std::condition_variable m_changed;
    static inline Ended m_ended;
};

class StrictTorture : public Torture {
protected:
    StrictTorture() {
        m_request.setVerb(HTTPOPERATION_POST);
        m_request.setUrlPath("/path");
        m_request.setContent(std::string(10'000, 'x'));
        m_request.addParam("name", "value");
    }

    /// @param run sends with m_client.
    void Send(const std::function<Ended()>& run) {
        Scenario scenario;
        scenario.kept = KeptOfAnEngine();
        scenario.lines = 2; // of the call, and of a response that there was no memory for
        scenario.prepare = [this] {
            End();
            m_client = std::make_unique<CHttpClient>();
            m_client->setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
            m_client->setDomain(m_server.address());
            m_client->setPort(m_server.port());
            m_client->setConnectTimeout(20);
            m_client->setRequestTimeout(20);
            m_response = std::make_unique<CHttpResponse>();
        };
        scenario.run = run;
        scenario.clear = [this] { End(); };
        scenario.next = [this, prepare = scenario.prepare] {
            EXPECT_TRUE(FaultPlan::WaitForThreads());
            prepare();
            EXPECT_EQ(m_client->synSendRequest(m_request, *m_response, false), 200);
            EXPECT_EQ(m_response->getResponseBody(), "answer");
            End();
        };
        Run(scenario);
    }
    /// A call may just have looked the shared engine up, so that what others lead to is kept of one that has ended.
    /// @return how many blocks that is, of one that has its loops.
    std::size_t KeptOfAnEngine() {
        {
            const FaultPlan plan;
            EXPECT_EQ(Told(Client(OptionsFor(m_server), Engine::Shared()).SendAsync(Get()).get()),
                      "200 answer");
            CHttpConnectionMgr::Finalize();
        }
        EXPECT_TRUE(FaultPlan::WaitForThreads());
        return FaultPlan::LiveBlocks();
    }
    void End() {
        m_client.reset();
        m_response.reset();
        CHttpConnectionMgr::Finalize(); // ends the shared engine, too
        m_server.WaitForOpenConnections(0);
    }

    kit::LoopbackServer m_server{Counting()};
    CHttpRequest m_request;
    std::unique_ptr<CHttpClient> m_client;
    std::unique_ptr<CHttpResponse> m_response;
};

} // namespace

TEST_F(StrictTorture, OfASynchronousSendIsSurvived) {
    Send([this] {
        const int status = m_client->synSendRequest(m_request, *m_response, false);
        Ended ended = EndOf(*m_response);
        EXPECT_EQ(status, ended.code ? -1 : 200) << ended.told;
        return ended;
    });
}

TEST_F(StrictTorture, OfAnAsynchronousSendIsSurvived) {
    Send([this] {
        {
            const WithoutFaults exempt;
            Outcomes::Clear();
        }
        m_client->asynSendRequest(m_request, &Outcomes::Callback, false);
        return Outcomes::Wait();
    });
}
