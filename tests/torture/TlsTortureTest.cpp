// SPDX-License-Identifier: Apache-2.0
// A TLS connection is made and used, with each of the fallible calls failing in turn.
#include <memory>

#include <openssl/crypto.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "Requests.h"
#include "TortureTest.h"
#include "setting/TlsSetting.h"

using namespace httpclient::testing;

namespace {

class TlsTorture : public TortureTest {
protected:
    TlsTorture() {
        m_secrets = {TlsSetting::Password(), SECRET_BODY};
        m_client.setDomain(m_server.address());
        m_client.setPort(m_server.port());
        m_client.setScheme("https");
        Fill(m_request, HTTPOPERATION_POST);
    }

    void Prepare() override {
        CHttpConnectionMgr::Instance();
        m_response = std::make_unique<CHttpResponse>();
    }
    void Run() noexcept override { m_result = m_client.synSendRequest(m_request, *m_response, true); }
    void ExpectOutcome() override {
        EXPECT_TRUE(m_result == 200 || m_result == -1) << m_result;
        if (m_result == 200) {
            EXPECT_EQ(m_response->getResponseBody(), ANSWER);
        }
    }
    void Discard() override {
        m_response.reset();
        OPENSSL_thread_stop(); // OpenSSL keeps each thread's errors with their texts
    }

    int Next() {
        CHttpResponse response;
        return m_client.synSendRequest(m_request, response, true);
    }

    TlsSetting m_setting;
    TlsLoopbackServer m_server{&AnswerAll, WithoutResumption(m_setting.Server())};
    CHttpClient m_client;
    CHttpRequest m_request;
    std::unique_ptr<CHttpResponse> m_response;
    int m_result = -2;
};

class TlsConnectionTorture : public TlsTorture {
protected:
    // A connection keeps for life what it was made with. When a file or the memory for a text could not be
    // had then, the connection goes on failing until the sweep has closed it; a new one works.
    void ExpectNextToWork() override {
        if (Next() == 200) {
            return;
        }
        CloseEverything();
        EXPECT_EQ(Next(), 200);
    }
};

class TlsTransferTorture : public TlsTorture {
protected:
    void Prepare() override {
        TlsTorture::Prepare();
        CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
        pool->ReleaseConn(pool->GetConn(m_server.address(), m_server.port(), true));
    }
    void ExpectNextToWork() override { EXPECT_EQ(Next(), 200); }
};

} // namespace

TEST_F(TlsConnectionTorture, IsSurvived) {
    Torture();
}

TEST_F(TlsTransferTorture, IsSurvived) {
    Torture();
}
