// SPDX-License-Identifier: Apache-2.0
#include "Traffic.h"

#include <memory>
#include <random>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "Servers.h"

namespace {

constexpr unsigned int THREADS = 16;
constexpr int MOST_ASYNCHRONOUS = 16;
constexpr std::size_t MOST_SURPRISES = 20;
constexpr std::chrono::seconds LONGEST_REQUEST{15};

const char* Name(HTTPOPERATIONTYPE verb) {
    static const char* const names[] = {"", "GET", "PUT", "POST", "DELETE", "HEAD"};
    return names[verb];
}

/// What is in an answer that echoes the request; the target may go on with parameters.
bool Echoes(const CHttpResponse& response, const std::string& what) {
    const std::string text = response.getResponseHead() + response.getResponseBody();
    return text.find(what) != std::string::npos;
}

} // namespace

/// One request.
struct Traffic::Plan {
    ServerKind server = ServerPlain;
    HTTPOPERATIONTYPE verb = HTTPOPERATION_GET;
    std::string path = "/echo";
    bool tls = false;
    bool provoked = false; ///< the server breaks it
    bool big = false;      ///< the answer echoes nothing

    std::unique_ptr<CHttpClient> Client(const Servers& servers) const {
        return HttpClientWrap::MakeClientPtr(servers.address(), 5, 10, servers.port(server), tls);
    }
    void Fill(CHttpRequest& request) const {
        request.setVerb(verb);
        request.setUrlPath(path);
        request.setContentType("text/plain");
        request.setCustomCookieParam("session=1");
        request.addParam("name", "\xc4\xe3\xba\xc3");
        if (verb == HTTPOPERATION_PUT || verb == HTTPOPERATION_POST) {
            request.setContent(std::string(500, 'c'));
        }
        if (big) {
            request.setAcceptEncoding("gzip");
        }
    }
};

Traffic* Traffic::m_current = nullptr;

Traffic::Traffic(const Servers& servers, std::chrono::milliseconds pause)
    : m_servers(servers), m_pause(pause) {
    m_current = this;
    for (unsigned int i = 0; i < THREADS; ++i) {
        m_threads.emplace_back(&Traffic::Run, this, i);
    }
}

Traffic::~Traffic() {
    Stop();
}

bool Traffic::Stop() {
    m_stop = true;
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
    const auto deadline = std::chrono::steady_clock::now() + LONGEST_REQUEST;
    while (m_underWay > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return m_underWay == 0;
}

std::vector<std::string> Traffic::surprises() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_surprises;
}

void Traffic::Run(unsigned int seed) {
    std::mt19937 random(seed);
    while (!m_stop) {
        SendOne(static_cast<unsigned int>(random() % 100));
        std::this_thread::sleep_for(m_pause / 2 + m_pause * (random() % 100) / 100);
    }
}

void Traffic::SendOne(unsigned int dice) {
    static constexpr HTTPOPERATIONTYPE VERBS[] = {HTTPOPERATION_GET, HTTPOPERATION_PUT, HTTPOPERATION_POST,
                                                  HTTPOPERATION_DELETE};
    static constexpr const char* FAULTS[] = {"/reset", "/short"};
    const HTTPOPERATIONTYPE verb = VERBS[dice % 4];
    if (dice < 40) {
        return SendAndCompare({ServerPlain, verb, dice % 8 == 0 ? "/slow" : "/echo"});
    }
    if (dice < 44) {
        return SendAndCompare({ServerPlain, HTTPOPERATION_GET, "/big", false, false, true});
    }
    if (dice < 48) {
        return SendAndCompare({ServerPlain, verb, FAULTS[dice % 2], false, true});
    }
    if (dice < 52) {
        return SendAndCompare({ServerPlain, verb, "/close"});
    }
    if (dice < 58) {
        return SendAndCompare({ServerHead, HTTPOPERATION_HEAD, "/echo"});
    }
    if (dice < 70) {
        return SendAndCompare({ServerMutualTls, verb, "/echo", true});
    }
    if (dice < 82) {
        return SendAndCompare({ServerMutualTls, verb, "/sia/echo", true});
    }
    if (dice < 91) {
        return SendAsynchronously({ServerPlain, verb, "/echo"});
    }
    SendAsynchronously({ServerAsyncTls, verb, "/echo", true});
}

void Traffic::SendAndCompare(const Plan& plan) {
    CHttpRequest request;
    plan.Fill(request);
    CHttpResponse response;
    const int status = plan.Client(m_servers)->synSendRequest(request, response, plan.tls);
    const std::string what = std::string(Name(plan.verb)) + " " + plan.path;
    const bool good = plan.big ? status == 200 && response.getResponseBody().size() == 200000
                               : status == 200 && Echoes(response, what);
    if (good && response.getResponseHead().find(" 403 ") != std::string::npos) {
        ++m_counts.renewed;
    }
    Note(what + (plan.tls ? " over TLS: " : ": ") + std::to_string(status), good, plan.provoked);
}

void Traffic::SendAsynchronously(const Plan& plan) {
    if (m_underWay >= MOST_ASYNCHRONOUS) {
        return;
    }
    ++m_underWay;
    CHttpRequest request;
    plan.Fill(request);
    plan.Client(m_servers)->asynSendRequest(request, &Traffic::OnAnswer, plan.tls);
}

void Traffic::OnAnswer(const CHttpResponse& response) {
    const bool good = response.getStatusCode() == 200 && Echoes(response, " /echo");
    m_current->Note("asynchronously: " + std::to_string(response.getStatusCode()), good, false);
    --m_current->m_underWay;
}

void Traffic::Note(const std::string& what, bool good, bool provoked) {
    if (good) {
        ++m_counts.answered;
    } else if (provoked) {
        ++m_counts.provoked;
    } else if (m_servers.Disturbed()) {
        ++m_counts.disturbed;
    } else {
        ++m_counts.unexpected;
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_surprises.size() < MOST_SURPRISES) {
            m_surprises.push_back(what);
        }
    }
}
