// SPDX-License-Identifier: Apache-2.0
// A token is exchanged for a request, with each of the fallible calls failing in turn.
#include <memory>
#include <utility>

#include <openssl/crypto.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>

#include "Requests.h"
#include "TortureTest.h"
#include "identity/HttpSiaToken.h"
#include "setting/IdentitySetting.h"
#include "setting/TlsSetting.h"

using namespace httpclient::testing;

namespace {

class TokenTorture : public TortureTest {
protected:
    TokenTorture() {
        m_service.SetTokens("orders", {TOKEN});
        m_secrets = {TlsSetting::Password(), JWT, TOKEN};
    }
    ~TokenTorture() override { EndSia(); }

    void Prepare() override {
        EndSia();
        CHttpSiaToken::Instance(); // reads its files once for the life of the process
        CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
        pool->ReleaseConn(pool->GetConn(m_identity.address(), FakeTokenService::PORT, true));
        m_response = std::make_unique<CHttpResponse>();
    }
    void Run() noexcept override { // the send lets no exception out; making a response may
        m_result = m_client.synSendRequest(m_request, *m_response, false);
    }
    void ExpectOutcome() override { EXPECT_TRUE(m_result == 200 || m_result == -1) << m_result; }
    void Discard() override {
        m_response.reset();
        EndSia();
        OPENSSL_thread_stop(); // OpenSSL keeps each thread's errors with their texts
    }
    void ExpectNextToWork() override {
        Run();
        EXPECT_EQ(m_result, 200);
        EXPECT_EQ(m_server.requests().back().Header("x-access-token"), TOKEN);
    }

private:
    static inline const std::string JWT = "a-secret-that-the-process-was-given";
    static inline const std::string TOKEN = "a-secret-that-the-service-was-given";

    static void EndSia() { delete std::exchange(CHttpSiaToken::m_pInstance, nullptr); }

    const IdentitySetting m_identity{JWT};
    const TlsSetting m_setting;
    FakeTokenService m_service{WithoutResumption(m_setting.Server()), m_identity.address()};
    LoopbackServer m_server{&AnswerAll};
    CHttpClient m_client;
    CHttpRequest m_request;
    std::unique_ptr<CHttpResponse> m_response;
    int m_result = -2;
};

} // namespace

TEST_F(TokenTorture, IsSurvived) {
    m_client.setDomain(m_server.address());
    m_client.setPort(m_server.port());
    m_request.setVerb(HTTPOPERATION_GET);
    m_request.setUrlPath("/orders/1");
    Torture();
}
