// SPDX-License-Identifier: Apache-2.0
// The public client forwards, and without an implementation answers neutral values.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"

namespace {

using Calls = std::vector<std::string>;

/// Notes what is asked of it.
class NotingClient : public CHttpClientInter {
public:
    explicit NotingClient(Calls& calls) : m_calls(calls) {}
    ~NotingClient() override { Note("destructor"); }
    NotingClient(const NotingClient&) = delete;
    NotingClient& operator=(const NotingClient&) = delete;

    void setDomain(const std::string& domain) override { Note("setDomain " + domain); }
    std::string getDomain() override {
        Note("getDomain");
        return "domain";
    }
    void setSSLSupport() override { Note("setSSLSupport"); }
    void setSSLCipherList(const std::string& list) override { Note("setSSLCipherList " + list); }
    void resizeConnPool(unsigned int num, unsigned int category) override {
        Note("resizeConnPool " + std::to_string(num) + " " + std::to_string(category));
    }
    int getConnPoolSize() override {
        Note("getConnPoolSize");
        return 11;
    }
    int getConnAddrSize() override {
        Note("getConnAddrSize");
        return 12;
    }
    void setPort(const int& port) override { Note("setPort " + std::to_string(port)); }
    int getPort() override {
        Note("getPort");
        return 13;
    }
    void EnableSiaAccess() override { Note("EnableSiaAccess"); }
    void setScheme(const std::string& scheme) override { Note("setScheme " + scheme); }
    std::string getScheme() override {
        Note("getScheme");
        return "scheme";
    }
    void setConnectTimeout(unsigned int seconds) override {
        Note("setConnectTimeout " + std::to_string(seconds));
    }
    void setRequestTimeout(unsigned int seconds) override {
        Note("setRequestTimeout " + std::to_string(seconds));
    }
    int synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) override {
        Note("synSendRequest " + request.getUrlPath() + (bSSL ? " true" : " false"));
        response.setStatusCode(14);
        return 15;
    }
    void asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                         bool bSSL) override {
        Note("asynSendRequest " + request.getUrlPath() + (bSSL ? " true" : " false"));
        callback(CHttpResponse());
    }

private:
    void Note(std::string call) { m_calls.push_back(std::move(call)); }
    Calls& m_calls;
};

int g_callbacks = 0;
void CountCallback(const CHttpResponse& /*response*/) {
    ++g_callbacks;
}

class ClientFacade : public ClientTest {};

} // namespace

TEST_F(ClientFacade, ForwardsEveryOperationUnchanged) {
    Calls calls;
    g_callbacks = 0;
    {
        CHttpClient client;
        client.m_pImp = std::make_unique<NotingClient>(calls);
        const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
        CHttpResponse response;
        client.setDomain("host");
        client.setSSLSupport();
        client.setSSLCipherList("ALL");
        client.resizeConnPool(1, 2);
        EXPECT_EQ(client.getConnPoolSize(), 11);
        client.EnableSiaAccess();
        EXPECT_EQ(client.getConnAddrSize(), 12);
        client.setPort(-3);
        client.setScheme("ftp");
        EXPECT_EQ(client.getScheme(), "scheme");
        client.setConnectTimeout(4);
        client.setRequestTimeout(4294967295U);
        EXPECT_EQ(client.synSendRequest(*request, response, true), 15);
        EXPECT_EQ(client.synSendRequest(*request, response, false), 15);
        EXPECT_EQ(response.getStatusCode(), 14);
        client.asynSendRequest(*request, &CountCallback, true);
        client.asynSendRequest(*request, &CountCallback, false);
    }
    EXPECT_EQ(calls,
              (Calls{"setDomain host", "setSSLSupport", "setSSLCipherList ALL", "resizeConnPool 1 2",
                     "getConnPoolSize", "EnableSiaAccess", "getConnAddrSize", "setPort -3", "setScheme ftp",
                     "getScheme", "setConnectTimeout 4", "setRequestTimeout 4294967295",
                     "synSendRequest /path true", "synSendRequest /path false", "asynSendRequest /path true",
                     "asynSendRequest /path false", "destructor"}));
    EXPECT_EQ(g_callbacks, 2);
}

TEST_F(ClientFacade, AnswersNeutralValuesWithoutAnImplementation) {
    CHttpClient client;
    client.m_pImp.reset();
    const auto request = MakeRequest(HTTPOPERATION_GET);
    UntouchedResponse response;
    g_callbacks = 0;

    client.setDomain("");
    client.setSSLSupport();
    client.setSSLCipherList("ALL");
    client.resizeConnPool(1000, 1000);
    client.EnableSiaAccess();
    client.setPort(1);
    client.setScheme("https");
    client.setConnectTimeout(1);
    client.setRequestTimeout(1);
    client.asynSendRequest(*request, &CountCallback, false);

    EXPECT_EQ(client.getConnPoolSize(), -1);
    EXPECT_EQ(client.getConnAddrSize(), -1);
    EXPECT_EQ(client.getScheme(), "");
    EXPECT_EQ(client.synSendRequest(*request, response.get(), false), -1);
    EXPECT_EQ(client.synSendRequest(*request, response.get(), true), -1);
    response.ExpectUntouched();
    EXPECT_EQ(g_callbacks, 0);
    EXPECT_EQ(OwnMessages(0), Calls{});
}

TEST_F(ClientFacade, IsMadeWithTheOneImplementation) {
    const CHttpClient client;
    EXPECT_NE(dynamic_cast<CHttpClientImp*>(client.m_pImp.get()), nullptr);
}
