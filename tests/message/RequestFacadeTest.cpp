// SPDX-License-Identifier: Apache-2.0
// The public request class: forwards everything, and answers by itself when it holds no implementation.
// Compiled without access control, so that the implementation can be exchanged.
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>

#include "RecordingRequest.h"
#include "WellKnownEntries.h"
#include "message/HttpRequestImp.h"

static_assert(!std::is_copy_constructible_v<CHttpRequest> && !std::is_copy_assignable_v<CHttpRequest>);
static_assert(!std::is_move_constructible_v<CHttpRequest> && !std::is_move_assignable_v<CHttpRequest>);

namespace {

using Values = std::vector<std::string>;

/// Takes the implementation away from a request, and brings it back.
class WithoutImplementation {
public:
    explicit WithoutImplementation(CHttpRequest& request)
        : m_request(request), m_kept(std::move(request.m_pImp)) {}
    ~WithoutImplementation() { m_request.m_pImp = std::move(m_kept); }
    WithoutImplementation(const WithoutImplementation&) = delete;
    WithoutImplementation& operator=(const WithoutImplementation&) = delete;

private:
    CHttpRequest& m_request;
    std::unique_ptr<CHttpRequestInter> m_kept;
};

/// A request whose implementation notes what it is asked.
class RequestFacade : public ::testing::Test {
protected:
    RequestFacade() { m_request.m_pImp = std::make_unique<RecordingRequest>(m_calls); }

    /// Expects these of all the calls, counted from 1.
    void ExpectCalls(std::size_t first, std::size_t last) {
        EXPECT_EQ(m_calls, Values(REQUEST_CALLS.begin() + static_cast<std::ptrdiff_t>(first - 1),
                                  REQUEST_CALLS.begin() + static_cast<std::ptrdiff_t>(last)));
    }

    Values m_calls;
    CHttpRequest m_request;
};

} // namespace

TEST_F(RequestFacade, ForwardsTheHeaderOperations) {
    const CHttpRequest& request = m_request;
    EXPECT_TRUE(m_request.addRequestHeadEntry("n", "v"));
    EXPECT_TRUE(m_request.removeRequestHeadEntry("n"));
    m_request.removeRequestHead();
    EXPECT_EQ(request.getRequestHeadEntry("n"), "answer of getRequestHeadEntry");
    EXPECT_EQ(request.getRequestHeadEntry(3u), "answer of getRequestHeadEntry");
    EXPECT_EQ(request.getRequestHeadEntryNums(), 42u);
    EXPECT_EQ(request.getRequestHead(),
              (std::map<std::string, std::string>{{"name", "answer of getRequestHead"}}));
    ExpectCalls(1, 7);
}

TEST_F(RequestFacade, ForwardsTheParameterOperations) {
    const CHttpRequest& request = m_request;
    EXPECT_TRUE(m_request.addParam("n", "v"));
    EXPECT_TRUE(m_request.addParam("n", Values{"v", "w"}));
    EXPECT_TRUE(m_request.removeParam("n"));
    m_request.RemoveAllParams();
    EXPECT_EQ(request.getParam("n"), Values{"answer of getParam"});
    EXPECT_EQ(request.getParam(3u), Values{"answer of getParam"});
    EXPECT_EQ(request.getParamsAppendInURL(), "answer of getParamsAppendInURL");
    EXPECT_EQ(request.getParamNums(), 42u);
    EXPECT_EQ(request.getRequestParams(),
              (std::map<std::string, Values>{{"name", {"answer of getRequestParams"}}}));
    ExpectCalls(8, 16);
}

TEST_F(RequestFacade, ForwardsCookieAndWellKnownEntries) {
    const CHttpRequest& request = m_request;
    m_request.setCustomCookieParam("v");
    EXPECT_EQ(request.getCustomCookieParam(), "answer of getCustomCookieParam");
    EXPECT_TRUE(m_request.setContentType("v"));
    EXPECT_EQ(request.getContentType(), "answer of getContentType");
    EXPECT_TRUE(m_request.setContentEncoding("v"));
    EXPECT_EQ(request.getContentEncoding(), "answer of getContentEncoding");
    EXPECT_TRUE(m_request.setContentLanguage("v"));
    EXPECT_EQ(request.getContentLanguage(), "answer of getContentLanguage");
    EXPECT_TRUE(m_request.setContent("v"));
    EXPECT_EQ(request.getContent(), "answer of getContent");
    EXPECT_TRUE(m_request.setAcceptCharset("v"));
    EXPECT_EQ(request.getAcceptCharset(), "answer of getAcceptCharset");
    EXPECT_TRUE(m_request.setAcceptLanguage("v"));
    EXPECT_EQ(request.getAcceptLanguage(), "answer of getAcceptLanguage");
    EXPECT_TRUE(m_request.setAcceptEncoding("v"));
    EXPECT_EQ(request.getAcceptEncoding(), "answer of getAcceptEncoding");
    EXPECT_TRUE(m_request.setAccept("v"));
    EXPECT_EQ(request.getAccept(), "answer of getAccept");
    ExpectCalls(17, 34);
}

TEST_F(RequestFacade, ForwardsVerbPathAndTextServices) {
    const CHttpRequest& request = m_request;
    m_request.setVerb(HTTPOPERATION_DELETE);
    EXPECT_EQ(request.getVerb(), HTTPOPERATION_HEAD);
    m_request.setUrlPath("v");
    EXPECT_EQ(request.getUrlPath(), "answer of getUrlPath");
    EXPECT_EQ(request.encodeParam("v"), "answer of encodeParam");
    EXPECT_EQ(m_request.decodeParam("v"), "answer of decodeParam");
    std::string out = "out";
    EXPECT_EQ(request.codeSetConvert("from", "to", "in", out), 7);
    EXPECT_EQ(out, "answer of codeSetConvert");
    EXPECT_TRUE(m_request.setForwardFilter("v"));
    ExpectCalls(35, 42);
}

TEST(RequestFacadeLife, EndsWithThatOfItsImplementation) {
    Values calls;
    {
        CHttpRequest request;
        request.m_pImp = std::make_unique<RecordingRequest>(calls);
    }
    EXPECT_EQ(calls, Values{"destroyed"});
}

TEST(RequestFacadeLife, BeginsWithAnImplementationOfTheLibrarysOwn) {
    CHttpRequest request;
    EXPECT_NE(dynamic_cast<CHttpRequestImp*>(request.m_pImp.get()), nullptr);
    CHttpRequest other;
    EXPECT_NE(request.m_pImp, other.m_pImp);
}

TEST(RequestWithoutImplementation, AnswersNeutrally) {
    CHttpRequest changing;
    const CHttpRequest& request = changing;
    const WithoutImplementation empty(changing);

    EXPECT_FALSE(changing.addRequestHeadEntry("n", "v"));
    EXPECT_FALSE(changing.removeRequestHeadEntry("n"));
    changing.removeRequestHead();
    EXPECT_EQ(request.getRequestHeadEntry("n"), "");
    EXPECT_EQ(request.getRequestHeadEntry(0u), "");
    EXPECT_EQ(request.getRequestHeadEntryNums(), 0u);
    EXPECT_TRUE(request.getRequestHead().empty());
    EXPECT_FALSE(changing.addParam("n", "v"));
    EXPECT_FALSE(changing.addParam("n", Values{"v"}));
    EXPECT_FALSE(changing.removeParam("n"));
    changing.RemoveAllParams();
    EXPECT_TRUE(request.getParam("n").empty());
    EXPECT_TRUE(request.getParam(0u).empty());
    EXPECT_EQ(request.getParamsAppendInURL(), "");
    EXPECT_EQ(request.getParamNums(), 0u);
    EXPECT_TRUE(request.getRequestParams().empty());
    changing.setCustomCookieParam("v");
    EXPECT_EQ(request.getCustomCookieParam(), "");
    // The body's two operations are not among them: they need an implementation.
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        EXPECT_FALSE((changing.*entry.set)("v")) << entry.name;
        if (entry.get != nullptr) {
            EXPECT_EQ((request.*entry.get)(), "") << entry.name;
        }
    }
    changing.setVerb(HTTPOPERATION_GET);
    EXPECT_EQ(request.getVerb(), 6);
    changing.setUrlPath("v");
    EXPECT_EQ(request.getUrlPath(), "");
    EXPECT_EQ(request.encodeParam("v"), "");
    EXPECT_EQ(changing.decodeParam("v"), "");
    std::string out = "untouched";
    EXPECT_EQ(request.codeSetConvert("UTF-8", "UTF-8", "v", out), 0);
    EXPECT_EQ(request.codeSetConvert("UNKOWN", "UTF-8", "v", out), 0);
    EXPECT_EQ(out, "untouched");
}

TEST(RequestWithoutImplementation, ChangesNothingOfTheOneThatComesBack) {
    CHttpRequest request;
    request.addRequestHeadEntry("A", "1");
    request.addParam("k", "v");
    {
        const WithoutImplementation empty(request);
        request.removeRequestHead();
        request.RemoveAllParams();
        request.setVerb(HTTPOPERATION_GET);
    }
    EXPECT_EQ(request.getRequestHeadEntry("A"), "1");
    EXPECT_EQ(request.getParamNums(), 1u);
    EXPECT_EQ(request.getVerb(), HTTPOPERATION_NOT_SET);
}

TEST(RequestWithoutImplementation, CanBeDestroyed) {
    CHttpRequest request;
    request.m_pImp.reset();
}

TEST(RequestImplementation, BeginsWithAHandle) {
    const CHttpRequestImp imp;
    EXPECT_NE(imp.m_pCurl.get(), nullptr);
    EXPECT_EQ(imp.m_eVerb, 6);
    EXPECT_TRUE(imp.m_mapHeadEntry.empty() && imp.m_mapParams.empty());
    EXPECT_EQ(imp.m_strUrlPath + imp.m_strContent + imp.m_strCookie, "");
}
