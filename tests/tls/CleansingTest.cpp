// SPDX-License-Identifier: Apache-2.0
// Where secrets are left: the key's password, a header line and a POST's body in no block of memory that is given
// back, and each secret, once it has been used, in no other place than the one where it is kept. What libcurl
// keeps for the connection's life is its own.
#include "support/Cleansing.h"

#include <ctime>
#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>

#include "client/AsyncOperation.h"
#include "client/HttpClientImp.h"
#include "identity/HttpSiaToken.h"
#include "interpose/WatchedBlocks.h"
#include "pool/HttpsConnection.h"
#include "setting/IdentitySetting.h"
#include "setting/Log.h"
#include "setting/Secrets.h"
#include "setting/TlsSetting.h"
#include "support/CurlOwners.h"

using namespace httpclient::testing;

namespace {

// Long enough to live on the heap.
constexpr const char* PASSWORD = "of-the-password-which-is-long";
constexpr const char* BODY = "a-body-that-nobody-else-may-read";
constexpr std::size_t LARGE = 1'000'000;
constexpr const char* JWT = "the-credential-of-the-process";
constexpr const char* FIRST_TOKEN = "1st-token-of-the-service-named-orders";
constexpr const char* SECOND_TOKEN = "2nd-token-of-the-service-named-orders";

/// A process that has a password, a credential and tokens.
class SecretsInUse : public ::testing::Test {
protected:
    SecretsInUse() {
        StartLog();
        EndSia(); // of a client that another test has made without the switch
        m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret(PASSWORD))));
        m_tls.root().Replace("server_key.pem", EncryptKey(m_tls.client().keyPem, Secret(PASSWORD)));
        m_service.SetTokens("orders", {Secret(FIRST_TOKEN), Secret(SECOND_TOKEN)});
    }
    ~SecretsInUse() override { EndSia(); }

    static void EndSia() { delete std::exchange(CHttpSiaToken::m_pInstance, nullptr); }

    const IdentitySetting m_identity{Secret(JWT)};
    const TlsSetting m_tls;
    FakeTokenService m_service{m_tls.Server(), m_identity.address()};
};

/// Sends a request that holds BODY and a text that there is no memory for.
void ExpectNothingLeftByASendWithoutMemoryForMore(const CHttpRequest& request) {
    StartLog();
    CHttpClient client;
    CHttpResponse response;
    const FreedBlocks freed{BODY};
    {
        const RefusedBlocks refused(LARGE);
        EXPECT_EQ(client.synSendRequest(request, response, false), -1);
    }
    EXPECT_EQ(Logged(5), Lines{"[5] HTTP synSendRequest catch an exception."});
    EXPECT_GT(freed.Count(), 1);
    EXPECT_EQ(freed.Holding(), 0);
    ClosePool();
}

} // namespace

TEST(TlsCleansing, ThePasswordIsNotInFreedMemory) {
    const TlsSetting tls;
    tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret(PASSWORD))));
    StartLog();
    const FreedBlocks freed{PASSWORD};
    { const CHttpsConnection connection("127.0.0.1", 443); }
    EXPECT_EQ(Logged(), Lines{}) << "the password is had";
    EXPECT_GT(freed.Count(), 10);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST(TlsCleansing, ThePasswordIsNotLeftBehindByACallOfTheEngineEither) {
    const TlsSetting tls;
    tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret(PASSWORD))));
    tls.root().Replace("server_key.pem", EncryptKey(tls.client().keyPem, Secret(PASSWORD)));
    StartLog();
    const TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, tls.Server());
    const std::string password = Secret(PASSWORD);
    const FreedBlocks freed{password.c_str()};
    LiveBlocks live;
    {
        httpclient::Engine engine;
        const httpclient::Client client(httpclient::ClientOptions(server.url("")), engine);
        const httpclient::Result result = client.Send(httpclient::Request(httpclient::Method::Get, "/path"));
        EXPECT_TRUE(result) << result.failure().message();
        live.Stop();
        EXPECT_EQ(live.Holding(password.c_str()), 0U) << "the connection needs it no more";
    }
    EXPECT_GT(freed.Count(), 10);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST(PostCleansing, TheCopyOfTheBodyIsNotInFreedMemoryWhetherSentOrNot) {
    StartLog();
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_POST);
    for (const std::size_t length : {100UL, 10'000UL, 64UL * 1024, 200'000UL}) {
        request.setContent(BODY + std::string(length, 'x'));
        LiveBlocks live;
        {
            const LoopbackServer closing([](const RecordedRequest&) { return Respond(200); },
                                         [] {
                                             ServerOptions options;
                                             options.onAccept = [](unsigned int) { return OnAccept::Close; };
                                             return options;
                                         }()); // reads nothing, so that no block of its own holds the body
            CHttpClient client;
            client.setDomain(closing.address());
            client.setPort(closing.port());
            CHttpResponse response;
            const FreedBlocks freed{BODY};
            EXPECT_EQ(client.synSendRequest(request, response, false), -1);
            EXPECT_GT(freed.Count(), 1);
            EXPECT_EQ(freed.Holding(), 0) << length;
        }
        live.Stop();
        EXPECT_EQ(live.Holding(BODY), 0U) << length << ": nothing is kept for the next one";
    }
    ClosePool();
}

TEST(HeaderCleansing, AHeaderLineLeavesNothingBehindEither) {
    StartLog();
    CHttpClient client;
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.addRequestHeadEntry("A", BODY);
    request.addRequestHeadEntry("B", std::string(BODY) + std::string(1000, 'x'));
    request.addRequestHeadEntry("C", std::string(BODY) + std::string(100'000, 'x'));
    client.setPort(1); // where nobody listens
    CHttpResponse response;
    const FreedBlocks freed{BODY};
    EXPECT_EQ(client.synSendRequest(request, response, false), -1);
    EXPECT_EQ(freed.Holding(), 0);
    ClosePool();
}

TEST(HeaderCleansing, NorDoesAHeadThatMemoryRunsOutFor) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.addRequestHeadEntry("A", BODY);
    request.addRequestHeadEntry("B", std::string(LARGE, 'x'));
    ExpectNothingLeftByASendWithoutMemoryForMore(request);
}

TEST_F(SecretsInUse, AHostsOwnShortTokenLeavesNothingBehindWhenAnotherReplacesIt) {
    constexpr const char* OWN = "a-token-of-mine";
    const CHttpClientImp client;
    CHttpRequest request;
    request.setUrlPath("/orders/1");
    request.addRequestHeadEntry("x-access-token", OWN);
    // What comes first is overwritten with the capacity of the longer text, which is kept in the same place.
    const FreedBlocks freed{OWN + 8};
    const CurlSlistPtr list(client.AppendSlist(request));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(std::string(list->data), "x-access-token:" + Secret(FIRST_TOKEN));
    EXPECT_GT(freed.Count(), 1);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST(CookieCleansing, ACookieLeavesNothingBehindWhenMemoryRunsOutForTheBody) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_PUT);
    request.setCustomCookieParam(BODY);
    request.setContent(std::string(LARGE, 'x'));
    ExpectNothingLeftByASendWithoutMemoryForMore(request);
}

TEST(WorkerCleansing, TheBodyOfAnAsynchronousSendLeavesNothingBehind) {
    StartLog();
    auto* record = new AsyncOperationArgs; // without handles, so that nothing is sent
    record->strContent = BODY;
    record->pfnCallback = [](const CHttpResponse&) {};
    const FreedBlocks freed{BODY};
    DoAsyncOperation(record);
    EXPECT_GT(freed.Count(), 1);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST_F(SecretsInUse, LeaveNothingInFreedMemoryWhenTheCacheDropsThem) {
    CHttpSiaToken& tokens = *CHttpSiaToken::Instance();
    tokens.m_mapSiaToken["orders"] = {Secret(FIRST_TOKEN), std::numeric_limits<time_t>::max()};
    const std::string canary = Secret(FIRST_TOKEN);
    const FreedBlocks freed{canary.c_str()};
    {
        std::string token;
        const Cleansing cleansing(token);
        EXPECT_EQ(tokens.GetSiaToken("/orders/1", token, false), 0);
        EXPECT_EQ(token, canary);
    }
    EXPECT_EQ(tokens.EraseTokenFromBuf("/orders/1", false), 0);
    EXPECT_GT(freed.Count(), 1);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST_F(SecretsInUse, LeaveNothingInFreedMemoryWhenAnotherReplacesThem) {
    m_service.SetTokens("orders", {Secret(SECOND_TOKEN)});
    CHttpSiaToken& tokens = *CHttpSiaToken::Instance();
    constexpr time_t LONG_AGO = 1;
    tokens.m_mapSiaToken["orders"] = {Secret(FIRST_TOKEN), LONG_AGO};
    const std::string canary = Secret(FIRST_TOKEN);
    const FreedBlocks freed{canary.c_str()};
    std::string token;
    EXPECT_EQ(tokens.GetSiaToken("/orders/1", token, false), 0);
    EXPECT_EQ(token, Secret(SECOND_TOKEN));
    EXPECT_GT(freed.Count(), 1);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST(TlsCleansing, WouldSeeAPasswordThatIsLeftBehind) {
    const FreedBlocks freed{PASSWORD};
    {
        std::string password;
        password.append("x").append(PASSWORD);
    }
    EXPECT_EQ(freed.Holding(), 1);
}

TEST_F(SecretsInUse, AreInNoOtherPlaceAfterwardsThanWhereTheyAreKept) {
    LoopbackServer server([](const RecordedRequest& request) {
        return Respond(request.Header("x-access-token") == Secret(FIRST_TOKEN) ? 403 : 200);
    });
    LiveBlocks live;
    CHttpClient client;
    client.setDomain(server.address());
    client.setPort(server.port());
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/orders/1");
    CHttpResponse response;

    EXPECT_EQ(client.synSendRequest(request, response, false), 200);
    live.Stop();
    ASSERT_EQ(m_service.exchanges().size(), 2U) << "the first token was refused";
    EXPECT_EQ(m_service.exchanges().back().jwt, Secret(JWT));
    EXPECT_GT(live.Count(), 10U);
    EXPECT_EQ(live.Holding(PASSWORD), 0U);
    EXPECT_EQ(live.Holding(FIRST_TOKEN), 0U);
    EXPECT_EQ(live.Holding(SECOND_TOKEN), 1U) << "in the cache";
    EXPECT_EQ(live.Holding(JWT), 1U) << "in the singleton";
    EndSia();
    EXPECT_EQ(live.Holding(SECOND_TOKEN) + live.Holding(JWT), 0U);
}
