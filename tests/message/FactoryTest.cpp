// SPDX-License-Identifier: Apache-2.0
// The factories. Compiled without access control, so that the client's settings can be seen.
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequestWrap.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/RecordingTrace.h>

#include "FactorySeam.h"
#include "client/HttpClientImp.h"
#include "message/HttpRequestImp.h"

using httpclient::testing::ScopedEnvironment;
using httpclient::testing::TraceRecorder;

static_assert(std::is_empty_v<HttpRequestWrap> && std::is_default_constructible_v<HttpRequestWrap>);
static_assert(std::is_empty_v<HttpClientWrap> && std::is_default_constructible_v<HttpClientWrap>);
static_assert(std::is_same_v<decltype(HttpRequestWrap::MakeRequestPtr("", "", HTTPOPERATION_GET)),
                             std::unique_ptr<CHttpRequest>>);
static_assert(std::is_same_v<decltype(HttpClientWrap::MakeSSLClientPtr(1, 1)), std::unique_ptr<CHttpClient>>);

namespace {

using Calls = std::vector<std::string>;
using Head = std::map<std::string, std::string>;

constexpr const char* MAINTENANCE_VARIABLE = "OVEX_MAINTENANCE_IP";

const CHttpClientImp& ImpOf(const CHttpClient& client) {
    return dynamic_cast<const CHttpClientImp&>(*client.m_pImp);
}

/// Implementations that say when they are destroyed.
class DyingRequest final : public CHttpRequestImp {
public:
    explicit DyingRequest(bool& dead) : m_dead(dead) {}
    ~DyingRequest() override { m_dead = true; }

private:
    bool& m_dead;
};
class DyingClient final : public CHttpClientImp {
public:
    explicit DyingClient(bool& dead) : m_dead(dead) {}
    ~DyingClient() override { m_dead = true; }

private:
    bool& m_dead;
};

/// Runs a factory whose last step throws. @return whether its object was gone when the exception came out.
template <class Make> bool IsDestroyedWhen(const std::string& call, Make make) {
    bool dead = false;
    FactorySeam seam;
    seam.ThrowAt(call, [&dead](CHttpRequest* request, CHttpClient* client) {
        if (request != nullptr) {
            request->m_pImp = std::make_unique<DyingRequest>(dead);
        }
        if (client != nullptr) {
            client->m_pImp = std::make_unique<DyingClient>(dead);
        }
    });
    try {
        make();
    } catch (const std::runtime_error& error) {
        return dead && error.what() == call;
    }
    return false;
}

} // namespace

TEST(Factories, MayBeObjectsToo) {
    const HttpRequestWrap requests;
    const HttpClientWrap clients;
    EXPECT_EQ(requests.MakeRequestPtr("/a", "{}", HTTPOPERATION_POST)->getUrlPath(), "/a");
    EXPECT_EQ(ImpOf(*clients.MakeClientPtr("127.0.0.1", 1, 2, 8080, false)).m_nPort, 8080);
}

TEST(MakeRequest, GivesAJsonRequestOfPathBodyAndVerb) {
    const auto request = HttpRequestWrap::MakeRequestPtr("/a", "{}", HTTPOPERATION_POST);
    EXPECT_EQ(request->getUrlPath(), "/a");
    EXPECT_EQ(request->getContent(), "{}");
    EXPECT_EQ(request->getVerb(), 3);
    EXPECT_EQ(request->getContentType(), "application/json");
    EXPECT_EQ(request->getRequestHeadEntryNums(), 1u);
    EXPECT_EQ(request->getParamNums(), 0u);
    EXPECT_EQ(request->getCustomCookieParam(), "");
}

TEST(MakeRequest, ChecksNothing) {
    const auto request =
        HttpRequestWrap::MakeRequestPtr("", std::string("\0 no JSON", 9), static_cast<HTTPOPERATIONTYPE>(0));
    EXPECT_EQ(request->getUrlPath(), "");
    EXPECT_EQ(request->getContent(), std::string("\0 no JSON", 9));
    EXPECT_EQ(static_cast<int>(request->getVerb()), 0);
}

TEST(MakeRequest, SetsBodyPathVerbAndContentTypeInThisOrder) {
    const FactorySeam seam;
    HttpRequestWrap::MakeRequestPtr("/a", "{}", HTTPOPERATION_PUT);
    EXPECT_EQ(seam.Calls(),
              (Calls{"setContent({})", "setUrlPath(/a)", "setVerb(2)", "setContentType(application/json)"}));
}

TEST(MakeRequest, KeepsItsContentTypeUntilThatIsRemoved) {
    const auto request = HttpRequestWrap::MakeRequestPtr("/a", "{}", HTTPOPERATION_POST);
    EXPECT_TRUE(request->setContentType("text/plain"));
    EXPECT_EQ(request->getContentType(), "application/json");
    EXPECT_TRUE(request->removeRequestHeadEntry("Content-Type"));
    EXPECT_TRUE(request->setContentType("text/plain"));
    EXPECT_EQ(request->getContentType(), "text/plain");
}

TEST(MakeRequestWithRouter, AlsoCarriesTheRequestId) {
    const auto request =
        HttpRequestWrap::MakeRequestPtrWithRouter("/a", " id\r\n1 ", HTTPOPERATION_DELETE, "{}");
    EXPECT_EQ(request->getRequestHead(),
              (Head{{"Content-Type", "application/json"}, {"X-Request-Id", " id\r\n1 "}}));
    EXPECT_EQ(request->getUrlPath(), "/a");
    EXPECT_EQ(request->getContent(), "{}");
    EXPECT_EQ(request->getVerb(), HTTPOPERATION_DELETE);
    EXPECT_EQ(request->getParamNums(), 0u);
}

TEST(MakeRequestWithRouter, CarriesAnEmptyRequestIdToo) {
    const auto request = HttpRequestWrap::MakeRequestPtrWithRouter("/a", "", HTTPOPERATION_GET, "");
    EXPECT_EQ(request->getRequestHead(), (Head{{"Content-Type", "application/json"}, {"X-Request-Id", ""}}));
    EXPECT_EQ(request->getRequestHeadEntryNums(), 2u);
}

TEST(MakeRequestWithRouter, AddsTheRequestIdLast) {
    const FactorySeam seam;
    HttpRequestWrap::MakeRequestPtrWithRouter("/a", "id", HTTPOPERATION_GET, "{}");
    EXPECT_EQ(seam.Calls(),
              (Calls{"setContent({})", "setUrlPath(/a)", "setVerb(1)", "setContentType(application/json)",
                     "addRequestHeadEntry(X-Request-Id, id)"}));
}

TEST(MakeClient, GivesAPlainClientWithTheseSettings) {
    const auto client = HttpClientWrap::MakeClientPtr("example.test", 3, 7, 8080, false);
    EXPECT_EQ(client->getScheme(), "http") << "the default stays";
    const CHttpClientImp& imp = ImpOf(*client);
    EXPECT_EQ(imp.m_strDomain, "example.test");
    EXPECT_EQ(imp.m_nConnectTimeout, 3u);
    EXPECT_EQ(imp.m_nRequestTimeout, 7u);
    EXPECT_EQ(imp.m_nPort, 8080);
    EXPECT_FALSE(imp.m_bSSL);
}

TEST(MakeClient, GivesATlsClientWhenAsked) {
    const auto client = HttpClientWrap::MakeClientPtr("example.test", 3, 7, 8443, true);
    EXPECT_EQ(client->getScheme(), "https");
    const CHttpClientImp& imp = ImpOf(*client);
    EXPECT_EQ(imp.m_strDomain, "example.test");
    EXPECT_EQ(imp.m_nConnectTimeout, 3u);
    EXPECT_EQ(imp.m_nRequestTimeout, 7u);
    EXPECT_EQ(imp.m_nPort, 8443);
    EXPECT_TRUE(imp.m_bSSL);
}

TEST(MakeClient, SetsInThisOrderAndNoTlsUnlessAsked) {
    {
        const FactorySeam seam;
        HttpClientWrap::MakeClientPtr("d", 1, 2, 3, false);
        EXPECT_EQ(seam.Calls(),
                  (Calls{"setConnectTimeout(1)", "setRequestTimeout(2)", "setDomain(d)", "setPort(3)"}));
    }
    const FactorySeam seam;
    HttpClientWrap::MakeClientPtr("d", 1, 2, 3, true);
    EXPECT_EQ(seam.Calls(), (Calls{"setConnectTimeout(1)", "setRequestTimeout(2)", "setDomain(d)",
                                   "setPort(3)", "setScheme(https)", "setSSLSupport()"}));
}

TEST(MakeClient, LeavesTheDefaultHostWhenGivenNone) {
    TraceRecorder& trace = TraceRecorder::Instance();
    trace.Clear();
    const auto client = HttpClientWrap::MakeClientPtr("", 0, 0, -1, false);
    EXPECT_EQ(ImpOf(*client).m_strDomain, "127.0.0.1");
    EXPECT_EQ(ImpOf(*client).m_nPort, -1);
    EXPECT_EQ(trace.Texts(5), Calls{"HTTP setDomain failed, strDomain is empty."});
}

TEST(MakeSSLClient, GoesToTheMaintenanceAddress) {
    const ScopedEnvironment address(MAINTENANCE_VARIABLE, "192.0.2.7");
    const auto client = HttpClientWrap::MakeSSLClientPtr(4, 5);
    EXPECT_EQ(client->getScheme(), "https");
    const CHttpClientImp& imp = ImpOf(*client);
    EXPECT_EQ(imp.m_strDomain, "192.0.2.7");
    EXPECT_EQ(imp.m_nPort, 32018);
    EXPECT_EQ(imp.m_nConnectTimeout, 4u);
    EXPECT_EQ(imp.m_nRequestTimeout, 5u);
    EXPECT_TRUE(imp.m_bSSL);
}

TEST(MakeSSLClient, AsksForTheAddressEachTime) {
    for (const char* text : {"192.0.2.1", "192.0.2.2", "::1", "not checked"}) {
        const ScopedEnvironment address(MAINTENANCE_VARIABLE, text);
        EXPECT_EQ(ImpOf(*HttpClientWrap::MakeSSLClientPtr(1, 1)).m_strDomain, text);
    }
}

TEST(MakeSSLClient, LeavesTheDefaultHostWhenThereIsNoAddress) {
    const ScopedEnvironment address(MAINTENANCE_VARIABLE, "");
    const auto client = HttpClientWrap::MakeSSLClientPtr(1, 1);
    EXPECT_EQ(ImpOf(*client).m_strDomain, "127.0.0.1");
    EXPECT_EQ(ImpOf(*client).m_nPort, 32018);
    EXPECT_EQ(client->getScheme(), "https");
}

TEST(MakeSSLClient, SetsInThisOrderAndAsksForTheAddressInItsTurn) {
    const ScopedEnvironment address(MAINTENANCE_VARIABLE, "192.0.2.7");
    const FactorySeam seam;
    HttpClientWrap::MakeSSLClientPtr(1, 2);
    EXPECT_EQ(seam.Calls(),
              (Calls{"setConnectTimeout(1)", "setRequestTimeout(2)", "getMaintenanceIPAddress()",
                     "setDomain(192.0.2.7)", "setPort(32018)", "setScheme(https)", "setSSLSupport()"}));
}

TEST(Factories, DestroyWhatTheyMadeWhenAStepThrows) {
    const auto request = [] {
        HttpRequestWrap::MakeRequestPtrWithRouter("/a", "id", HTTPOPERATION_GET, "{}");
    };
    for (const char* step : {"setContent({})", "setUrlPath(/a)", "setVerb(1)",
                             "setContentType(application/json)", "addRequestHeadEntry(X-Request-Id, id)"}) {
        EXPECT_TRUE(IsDestroyedWhen(step, request)) << step;
    }
    const auto client = [] { HttpClientWrap::MakeClientPtr("d", 1, 2, 3, true); };
    for (const char* step : {"setConnectTimeout(1)", "setRequestTimeout(2)", "setDomain(d)", "setPort(3)",
                             "setScheme(https)", "setSSLSupport()"}) {
        EXPECT_TRUE(IsDestroyedWhen(step, client)) << step;
    }
}

TEST(Factories, NeverLog) {
    const ScopedEnvironment address(MAINTENANCE_VARIABLE, "192.0.2.7");
    CHttpClient first; // the first client of a process loads the service identity, which logs
    TraceRecorder& trace = TraceRecorder::Instance();
    trace.Clear();
    HttpRequestWrap::MakeRequestPtr("/a", "{}", HTTPOPERATION_POST);
    HttpRequestWrap::MakeRequestPtrWithRouter("/a", "id", HTTPOPERATION_POST, "{}");
    HttpClientWrap::MakeClientPtr("d", 1, 2, 3, true);
    HttpClientWrap::MakeSSLClientPtr(1, 2);
    EXPECT_TRUE(trace.Messages().empty());
}
