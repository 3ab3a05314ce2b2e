// SPDX-License-Identifier: Apache-2.0
// The client's settings: defaults, setters, and what becomes of them.
#include <climits>
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"
#include "identity/HttpSiaToken.h"
#include "interpose/CurlRecorder.h"

using namespace httpclient::testing;

namespace {

using Messages = std::vector<std::string>;

class ClientSettings : public ClientTest {};

} // namespace

TEST_F(ClientSettings, StartWithTheDefaults) {
    CHttpClientImp client;
    EXPECT_EQ(client.getScheme(), "http");
    EXPECT_EQ(client.getDomain(), "127.0.0.1");
    EXPECT_EQ(client.getPort(), 80);
    EXPECT_EQ(client.m_nConnectTimeout, 10U);
    EXPECT_EQ(client.m_nRequestTimeout, 30U);
    EXPECT_FALSE(client.m_bSSL);
    EXPECT_FALSE(client.m_bSiaAccess);
    EXPECT_EQ(client.m_curl, nullptr);
    EXPECT_EQ(CHttpClient().getScheme(), "http");
    EXPECT_EQ(OwnMessages(0), Messages{});
}

TEST_F(ClientSettings, MakeTheTokenSingletonWithTheFirstClient) {
    CHttpSiaToken* const former =
        std::exchange(CHttpSiaToken::m_pInstance, nullptr); // as at the process's start
    const CHttpClientImp client;
    CHttpSiaToken* const made = CHttpSiaToken::m_pInstance;
    EXPECT_NE(made, nullptr);
    const CHttpClientImp second;
    EXPECT_EQ(CHttpSiaToken::m_pInstance, made);
    delete std::exchange(CHttpSiaToken::m_pInstance, former);
}

TEST_F(ClientSettings, DoNotMakeThePoolByThemselves) {
    CHttpClientImp client;
    client.setDomain("host");
    client.setPort(1);
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
}

TEST_F(ClientSettings, KeepTheDomainWhenTheNewOneIsEmpty) {
    CHttpClientImp client;
    client.setDomain("");
    EXPECT_EQ(client.getDomain(), "127.0.0.1");
    client.setDomain("host");
    client.setDomain("");
    EXPECT_EQ(client.getDomain(), "host");
    EXPECT_EQ(OwnMessages(0), (Messages{"[5] HTTP setDomain failed, strDomain is empty.",
                                        "[5] HTTP setDomain failed, strDomain is empty."}));
}

TEST_F(ClientSettings, TakeAnyDomainThatIsNotEmpty) {
    CHttpClientImp client;
    for (const std::string domain : {" ", "host:99", "[::1]", "a/b", "\n"}) {
        client.setDomain(domain);
        EXPECT_EQ(client.getDomain(), domain);
    }
    EXPECT_EQ(OwnMessages(0), Messages{});
}

TEST_F(ClientSettings, TakeAnyScheme) {
    CHttpClientImp client;
    for (const std::string scheme : {"https", "HTTP", "no scheme", ""}) {
        client.setScheme(scheme);
        EXPECT_EQ(client.getScheme(), scheme);
    }
    EXPECT_EQ(OwnMessages(0), Messages{});
}

TEST_F(ClientSettings, TakeAnyPort) {
    CHttpClientImp client;
    for (const int port : {0, -1, 65535, 65536, INT_MAX, INT_MIN}) {
        client.setPort(port);
        EXPECT_EQ(client.getPort(), port);
    }
    EXPECT_EQ(OwnMessages(0), Messages{});
}

TEST_F(ClientSettings, HaveSwitchesThatStayOn) {
    CHttpClientImp client;
    client.setSSLSupport();
    client.setSSLSupport();
    EXPECT_TRUE(client.m_bSSL);
    EXPECT_FALSE(client.m_bSiaAccess);
    client.EnableSiaAccess();
    client.EnableSiaAccess();
    EXPECT_TRUE(client.m_bSiaAccess);
}

TEST_F(ClientSettings, TakeAnyTimeout) {
    CHttpClientImp client;
    client.setConnectTimeout(0);
    client.setRequestTimeout(UINT_MAX);
    EXPECT_EQ(client.m_nConnectTimeout, 0U);
    EXPECT_EQ(client.m_nRequestTimeout, UINT_MAX);
}

TEST_F(ClientSettings, TakeEffectAtTheNextSend) {
    LoopbackServer server(AnswerAll("ok"));
    CHttpClient client;
    PointAt(client, server);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    CHttpResponse response;
    CurlRecorder recorder;
    client.setConnectTimeout(7);
    client.setRequestTimeout(8);
    ASSERT_EQ(client.synSendRequest(*request, response, false), 200);
    EXPECT_EQ(recorder.Last(CURLOPT_CONNECTTIMEOUT)->number, 7);
    EXPECT_EQ(recorder.Last(CURLOPT_TIMEOUT)->number, 8);
    client.setConnectTimeout(9);
    client.setRequestTimeout(10);
    ASSERT_EQ(client.synSendRequest(*request, response, false), 200);
    EXPECT_EQ(recorder.Last(CURLOPT_CONNECTTIMEOUT)->number, 9);
    EXPECT_EQ(recorder.Last(CURLOPT_TIMEOUT)->number, 10);
}

TEST_F(ClientSettings, PassThePoolSizeOnInOrder) {
    CHttpClientImp client;
    EXPECT_EQ(client.getConnPoolSize(), 100);
    EXPECT_EQ(client.getConnAddrSize(), 30);
    client.resizeConnPool(101, 32);
    EXPECT_EQ(client.getConnPoolSize(), 101);
    EXPECT_EQ(client.getConnAddrSize(), 32);
    EXPECT_EQ(CHttpConnectionMgr::Instance()->GetConnPoolSize(), 101U);
    EXPECT_EQ(CHttpConnectionMgr::Instance()->GetConnAddrSize(), 32U);
    EXPECT_EQ(OwnMessages(3),
              Messages{"[3] CHttpConnectionMgr::ResizeConnPool, m_MaxConnNum=101, m_MaxConnCategory=32"});
}

TEST_F(ClientSettings, PutTheCipherListOnTheHandleInUse) {
    CHttpClientImp client;
    client.m_curl = curl_easy_init();
    CURL* const handle = client.m_curl;
    CurlRecorder recorder;
    client.setSSLCipherList("ECDHE-RSA-AES128-GCM-SHA256");
    const auto events = recorder.Events();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].option, CURLOPT_SSL_CIPHER_LIST);
    EXPECT_EQ(events[0].handle, handle);
    EXPECT_EQ(events[0].text, "ECDHE-RSA-AES128-GCM-SHA256");
}

TEST_F(ClientSettings, ForgetACipherListSetOnAnIdleClient) {
    LoopbackServer server(AnswerAll("ok"));
    CHttpClientImp client;
    PointAt(client, server);
    CurlRecorder recorder;
    client.setSSLCipherList("NO-SUCH-CIPHER");
    const auto events = recorder.Events();
    ASSERT_EQ(events.size(), 1U); // the call is made all the same, on no handle
    EXPECT_EQ(events[0].handle, nullptr);
    EXPECT_NE(events[0].result, CURLE_OK);

    recorder.Clear();
    const auto request = MakeRequest(HTTPOPERATION_GET);
    CHttpResponse response;
    EXPECT_EQ(client.synSendRequest(*request, response, false), 200);
    EXPECT_FALSE(recorder.Last(CURLOPT_SSL_CIPHER_LIST).has_value());
    EXPECT_EQ(OwnMessages(3), Messages{});
}

TEST_F(ClientSettings, CleanUpAHandleThatIsStillSetWhenTheClientGoes) {
    CurlRecorder recorder;
    const void* handle = nullptr;
    {
        CHttpClientImp client;
        client.m_curl = curl_easy_init();
        handle = client.m_curl;
    }
    const auto cleaned = recorder.Events(CurlCall::EasyCleanup);
    ASSERT_EQ(cleaned.size(), 1U);
    EXPECT_EQ(cleaned[0].handle, handle);
}

TEST_F(ClientSettings, CleanUpNothingWhenNoHandleIsSet) {
    CurlRecorder recorder;
    { const CHttpClientImp client; }
    EXPECT_TRUE(recorder.Events().empty());
}
