// SPDX-License-Identifier: Apache-2.0
// CHttpClient: asynchronous sends on both roads, and the first road's synchronous ones on as many threads.
#include <thread>

#include <httpclient/Engine.h>
#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../Crowd.h"

namespace {

bool IsAnswer(int status, const CHttpResponse& response) {
    return status == 200 && response.getResponseBody().size() == ANSWER_BYTES;
}

/// A client and its request.
struct Sender {
    explicit Sender(const CrowdTarget& target) {
        client.setPort(target.port);
        client.setRequestTimeout(static_cast<unsigned int>(DEADLINE.count()));
        client.setConnectTimeout(static_cast<unsigned int>(DEADLINE.count()));
        request.setVerb(HTTPOPERATION_GET);
        request.setUrlPath("/128");
        request.setAccept("*/*"); // a request without any entry is logged as an error
    }

    CHttpClient client;
    CHttpRequest request;
};

/// The callbacks are functions without a state, so it is kept beside them: there is one crowd at a time.
class Asynchronous : public Crowd {
public:
    Asynchronous(const CrowdTarget& target, HTTPTRANSFERPROFILE profile) : m_sender(target) {
        m_sender.client.setTransferProfile(profile);
        m_crowd = this;
    }
    Tally Run(std::size_t inFlight, Clock::time_point until) override {
        Relay relay(inFlight, until);
        m_relay = &relay;
        for (std::size_t number = 0; number < inFlight; ++number) {
            StartOne();
        }
        return relay.Wait();
    }

private:
    void StartOne() { m_sender.client.asynSendRequest(m_sender.request, &Asynchronous::OnAnswer, false); }
    static void OnAnswer(const CHttpResponse& response) {
        if (m_crowd->m_relay->Ended(IsAnswer(response.getStatusCode(), response))) {
            m_crowd->StartOne();
        }
    }

    static inline Asynchronous* m_crowd = nullptr;
    Sender m_sender;
    Relay* m_relay = nullptr;
};

/// A thread sends on a client of its own, as hosts must.
class OnThreads : public Crowd {
public:
    explicit OnThreads(const CrowdTarget& target) : m_target(target) {
        CHttpConnectionMgr::Instance()->SetMaxConnPerAddr(static_cast<unsigned int>(target.most));
    }
    Tally Run(std::size_t inFlight, Clock::time_point until) override {
        Relay relay(inFlight, until);
        std::vector<std::thread> threads;
        for (std::size_t number = 0; number < inFlight; ++number) {
            threads.emplace_back([this, &relay] {
                Sender sender(m_target);
                while (relay.Ended(SendOne(sender))) {
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        return relay.Wait();
    }

private:
    static bool SendOne(Sender& sender) {
        CHttpResponse response;
        const int status = sender.client.synSendRequest(sender.request, response, false);
        return IsAnswer(status, response);
    }

    CrowdTarget m_target;
};

} // namespace

std::unique_ptr<Crowd> MakeStrict(const CrowdTarget& target) {
    httpclient::Engine::Configure(
        httpclient::EngineOptions().maxConnections(target.most, target.most).maxWaiting(target.most));
    return std::make_unique<Asynchronous>(target, HTTPTRANSFERPROFILE_STRICT);
}

std::unique_ptr<Crowd> MakeCompatible(const CrowdTarget& target) {
    return std::make_unique<Asynchronous>(target, HTTPTRANSFERPROFILE_COMPATIBLE);
}

std::unique_ptr<Crowd> MakeCompatibleThreads(const CrowdTarget& target) {
    return std::make_unique<OnThreads>(target);
}
