// SPDX-License-Identifier: Apache-2.0
// A synchronous request of each verb, with each of its fallible calls failing in turn.
#include <memory>
#include <new>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/Environment.h>

#include "Requests.h"
#include "TortureTest.h"

using namespace httpclient::testing;

namespace {

class SynSendTorture : public TortureTest, public ::testing::WithParamInterface<HTTPOPERATIONTYPE> {
protected:
    SynSendTorture() { m_secrets = {SECRET_HEADER, SECRET_COOKIE, SECRET_BODY}; }

    void Prepare() override {
        CHttpConnectionMgr::Instance(); // how it is made has a torture of its own
        m_response = std::make_unique<CHttpResponse>();
        m_result = -2;
    }
    void Run() override {
        try {
            CHttpClient client;
            client.setDomain(m_server.address());
            client.setPort(m_server.port());
            CHttpRequest request;
            Fill(request, GetParam());
            m_result = Send(client, request);
        } catch (const std::bad_alloc&) {
            m_result = -1; // of the host's own operations, not of the send
        }
    }
    void ExpectOutcome() override {
        EXPECT_TRUE(m_result == 200 || m_result == -1) << m_result;
        if (m_result == 200 && GetParam() != HTTPOPERATION_HEAD) {
            EXPECT_EQ(m_response->getResponseBody(), ANSWER);
        }
    }
    void Discard() override { m_response.reset(); }
    void ExpectNextToWork() override { ::ExpectNextToWork(m_server, false); }

    LoopbackServer m_server{&AnswerAll};

private:
    int Send(CHttpClient& client, const CHttpRequest& request) noexcept { // the send lets no exception out
        return client.synSendRequest(request, *m_response, false);
    }

    std::unique_ptr<CHttpResponse> m_response;
    int m_result = -2;
};

/// The same through a proxy, whose password the environment holds. The server takes the proxy's place.
class ProxyTorture : public SynSendTorture {
protected:
    ProxyTorture() { m_secrets.push_back(SECRET_OF_PROXY); }

private:
    const ScopedEnvironment m_proxy{"http_proxy", "http://user:" + SECRET_OF_PROXY + "@" +
                                                      m_server.address() + ":" +
                                                      std::to_string(m_server.port())};
    const ScopedEnvironment m_exceptions{"no_proxy"};
};

} // namespace

TEST_P(SynSendTorture, IsSurvived) {
    Torture();
}

TEST_P(ProxyTorture, IsSurvived) {
    Torture();
    ASSERT_FALSE(m_server.requests().empty());
    EXPECT_NE(m_server.requests().back().Header("Proxy-Authorization"), "");
}

INSTANTIATE_TEST_SUITE_P(Verb, ProxyTorture, ::testing::Values(HTTPOPERATION_GET),
                         [](const auto& verb) { return NameOf(verb.param); });
INSTANTIATE_TEST_SUITE_P(Verb, SynSendTorture,
                         ::testing::Values(HTTPOPERATION_GET, HTTPOPERATION_PUT, HTTPOPERATION_POST,
                                           HTTPOPERATION_DELETE, HTTPOPERATION_HEAD),
                         [](const auto& verb) { return NameOf(verb.param); });
