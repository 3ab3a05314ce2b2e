// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>
#include <httpclient/HttpRequestWrap.h>
#include <httpclient/HttpResponse.h>

namespace {

constexpr int THREADS = 8;

/// Runs something on all threads at once; each is told its number.
void RunAtOnce(const std::function<void(int)>& work) {
    std::atomic<int> missing{THREADS};
    std::vector<std::thread> threads;
    for (int number = 0; number < THREADS; ++number) {
        threads.emplace_back([&, number] {
            --missing;
            while (missing > 0) {
                std::this_thread::yield();
            }
            work(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

TEST(RequestThreads, ManyReadOneRequest) {
    CHttpRequest filled;
    filled.setVerb(HTTPOPERATION_GET);
    filled.setUrlPath("/path");
    filled.setContent("body");
    filled.setCustomCookieParam("cookie");
    filled.setContentType("text/plain");
    filled.addParam("k", std::vector<std::string>{"\xD6\xD0", "a b"});
    const CHttpRequest& request = filled;
    RunAtOnce([&request](int) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(request.getVerb(), HTTPOPERATION_GET);
            EXPECT_EQ(request.getUrlPath() + request.getContent() + request.getCustomCookieParam(),
                      "/pathbodycookie");
            EXPECT_EQ(request.getContentType(), "text/plain");
            EXPECT_EQ(request.getAcceptCharset(), "");
            EXPECT_EQ(request.getRequestHeadEntry(0u), "text/plain");
            EXPECT_EQ(request.getRequestHead().size() + request.getRequestHeadEntryNums(), 2u);
            EXPECT_EQ(request.getParam("k"), request.getParam(0u));
            EXPECT_EQ(request.getRequestParams().size() + request.getParamNums(), 2u);
            EXPECT_EQ(request.getParamsAppendInURL(), "?k=%E4%B8%AD&k=a%20b");
            EXPECT_EQ(request.encodeParam("a b"), "a%20b");
        }
    });
}

TEST(RequestThreads, ManyRenderTheirOwnRequests) {
    RunAtOnce([](int number) {
        const std::string value = "value " + std::to_string(number) + " \xD6\xD0";
        const std::string expected = "?k=value%20" + std::to_string(number) + "%20%E4%B8%AD&z=%3F";
        for (int i = 0; i < 50; ++i) {
            CHttpRequest request;
            request.setVerb(HTTPOPERATION_GET);
            request.addParam("k", value);
            request.addParam("z", "\xFF");
            EXPECT_EQ(request.getParamsAppendInURL(), expected);
        }
    });
}

TEST(RequestThreads, ManyUseAPairOfSetsForTheFirstTime) {
    // Spellings that nothing else in this program uses: each round meets a pair that is not open yet.
    for (const char* charset : {"gBK", "Gbk", "gbK", "GbK", "gB2312", "Gb2312", "gB18030", "Gb18030"}) {
        RunAtOnce([charset](int) {
            CHttpRequest request;
            request.setAcceptCharset(charset);
            request.addParam("k", "\xD6\xD0");
            EXPECT_EQ(request.getParamsAppendInURL(), "k=%E4%B8%AD") << charset;
        });
    }
}

TEST(RequestThreads, ManyMakeAndDestroyRequests) {
    RunAtOnce([](int number) {
        for (int i = 0; i < 20; ++i) {
            const auto request = HttpRequestWrap::MakeRequestPtrWithRouter("/path", std::to_string(number),
                                                                           HTTPOPERATION_PUT, "{}");
            EXPECT_EQ(request->getRequestHeadEntry("X-Request-Id"), std::to_string(number));
        }
    });
}

TEST(ResponseThreads, ManyReadOneResponse) {
    CHttpResponse filled;
    filled.setStatusCode(200);
    filled.setContentType("text/html; charset=GBK");
    filled.setResponseBody("body");
    filled.setResponseHead("head");
    filled.setContentLen(4.0);
    const CHttpResponse& response = filled;
    RunAtOnce([&response](int) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(response.getStatusCode(), 200);
            EXPECT_EQ(response.getCharset(), "GBK");
            EXPECT_EQ(response.getResponseHeadEntry(0u), response.getContentType());
            EXPECT_EQ(response.getResponseHeadNums(), 1u);
            EXPECT_EQ(response.getResponseBody() + response.getResponseHead(), "bodyhead");
            EXPECT_EQ(response.getContentLen(), 4.0);
        }
    });
}
