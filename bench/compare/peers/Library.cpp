// SPDX-License-Identifier: Apache-2.0
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../../cost/CachedToken.h"
#include "../Peer.h"

namespace {

class Library : public Peer {
public:
    Library(const Target& target, HTTPTRANSFERPROFILE profile) : m_target(target) {
        // The pool would lend the connection of the last round, while all others begin with a new one: one
        // that has lived longer costs the kernel more.
        CHttpConnectionMgr::Finalize();
        m_client.setTransferProfile(profile);
        m_client.setServerName("*"); // looked at under STRICT only
        m_client.setPort(target.port);
        m_client.setScheme(target.tls ? "https" : "http");
        m_request.setVerb(target.body.empty() ? HTTPOPERATION_GET : HTTPOPERATION_POST);
        m_request.setUrlPath(target.path);
        m_request.setContent(target.body);
        SwitchIdentity(!target.token.empty()); // either road has it then: its cache, the engine's store
    }
    bool Send() override {
        CHttpResponse response;
        const int status = m_client.synSendRequest(m_request, response, m_target.tls);
        return m_target.IsAnswer(status, response.getResponseBody().size());
    }

protected:
    Target m_target;
    CHttpClient m_client;
    CHttpRequest m_request;
};

/// What asynchronous sends were answered. A callback does not say whose it is, but all that are under way at the same
/// time have sent the same, so that any answer is any sender's.
class Answers {
public:
    struct Answer {
        int status = 0;
        std::string body;
    };
    static void Put(const CHttpResponse& response) {
        Answer answer{response.getStatusCode(), response.getResponseBody()};
        const std::lock_guard<std::mutex> lock(m_lock);
        m_answers.push_back(std::move(answer));
        m_more.notify_one();
    }
    static Answer Take() {
        std::unique_lock<std::mutex> lock(m_lock);
        m_more.wait(lock, [] { return !m_answers.empty(); });
        Answer first = std::move(m_answers.front());
        m_answers.pop_front();
        return first;
    }

private:
    inline static std::mutex m_lock;
    inline static std::condition_variable m_more;
    inline static std::deque<Answer> m_answers;
};

/// Waits for each answer, which comes on a thread of the engine's.
class AsynLibrary final : public Library {
public:
    explicit AsynLibrary(const Target& target) : Library(target, HTTPTRANSFERPROFILE_STRICT) {}
    bool Send() override {
        m_client.asynSendRequest(m_request, &Answers::Put, m_target.tls);
        const Answers::Answer answer = Answers::Take();
        return m_target.IsAnswer(answer.status, answer.body.size());
    }
};

} // namespace

std::unique_ptr<Peer> MakeLibrary(const Target& target) {
    return std::make_unique<Library>(target, HTTPTRANSFERPROFILE_COMPATIBLE);
}

std::unique_ptr<Peer> MakeStrict(const Target& target) {
    return std::make_unique<Library>(target, HTTPTRANSFERPROFILE_STRICT);
}

std::unique_ptr<Peer> MakeStrictAsyn(const Target& target) {
    return std::make_unique<AsynLibrary>(target);
}
