// SPDX-License-Identifier: Apache-2.0
// The libcurl handle of a request, and what escaping asks of libcurl. Compiled without access control, so
// that the handle can be seen.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>

#include "EscapeSeam.h"
#include "interpose/CurlRecorder.h"
#include "message/HttpRequestImp.h"

using httpclient::testing::CurlCall;
using httpclient::testing::CurlEvent;
using httpclient::testing::CurlRecorder;

namespace {

/// Every operation that could want a handle.
void UseAll(CHttpRequest& request) {
    request.setUrlPath("/path");
    request.addRequestHeadEntry("A", "1");
    request.addParam("k", "a b");
    request.getParamsAppendInURL();
    request.encodeParam("a b");
    request.decodeParam("a%20b");
}

/// Looks at a request at the moment its handle is cleaned up: a share that hangs on the handle is
/// let go then.
class LookAtCleanup {
public:
    explicit LookAtCleanup(const CHttpRequestImp& request) : m_request(request), m_share(curl_share_init()) {
        curl_share_setopt(m_share, CURLSHOPT_LOCKFUNC, Lock);
        curl_share_setopt(m_share, CURLSHOPT_UNLOCKFUNC, Unlock);
        curl_share_setopt(m_share, CURLSHOPT_USERDATA, this);
        curl_easy_setopt(request.m_pCurl.get(), CURLOPT_SHARE, m_share);
        m_seen.clear();
    }
    ~LookAtCleanup() { curl_share_cleanup(m_share); }
    LookAtCleanup(const LookAtCleanup&) = delete;
    LookAtCleanup& operator=(const LookAtCleanup&) = delete;

    const std::string& Seen() const { return m_seen; }

private:
    static void Lock(CURL*, curl_lock_data, curl_lock_access, void* user) {
        auto& self = *static_cast<LookAtCleanup*>(user);
        if (!self.m_seen.empty()) {
            return; // the share is let go again when the request is no more
        }
        self.m_seen = self.m_request.m_strCookie + self.m_request.m_strContent + self.m_request.m_strUrlPath;
    }
    static void Unlock(CURL*, curl_lock_data, void*) {}

    const CHttpRequestImp& m_request;
    CURLSH* m_share;
    std::string m_seen;
};

} // namespace

TEST(RequestHandle, IsTakenOnceGivenBackOnceAndNeverUsedForATransfer) {
    const CurlRecorder recorder;
    const void* handle = nullptr;
    {
        CHttpRequest request;
        handle = recorder.Events().at(0).handle;
        UseAll(request);
        EXPECT_EQ(recorder.Events().size(), 1u) << "nothing but curl_easy_init() so far";
    }
    const std::vector<CurlEvent> events = recorder.Events();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].call, CurlCall::EasyInit);
    EXPECT_EQ(events[1].call, CurlCall::EasySetopt);
    EXPECT_EQ(events[2].call, CurlCall::EasyCleanup);
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(events[1].handle, handle);
    EXPECT_EQ(events[2].handle, handle);
}

TEST(RequestHandle, IsToldToLeaveSignalsAloneBeforeItIsClosed) {
    const CurlRecorder recorder;
    { const CHttpRequest request; }
    EXPECT_EQ(recorder.Options(), std::vector<CURLoption>{CURLOPT_NOSIGNAL}) << "and nothing else";
    EXPECT_EQ(recorder.Events(CurlCall::EasySetopt).at(0).number, 1);
}

TEST(RequestHandle, IsEachRequestsOwn) {
    const CHttpRequestImp first, second;
    EXPECT_NE(first.m_pCurl.get(), second.m_pCurl.get());
}

TEST(RequestHandle, GoesBeforeTheTextsDo) {
    auto* const request = new CHttpRequestImp;
    const std::string cookie(100, 'c'), content(100, 'b'), path(100, 'p');
    request->setCustomCookieParam(cookie);
    request->setContent(content);
    request->setUrlPath(path);
    const LookAtCleanup look(*request);
    delete request;
    EXPECT_EQ(look.Seen(), cookie + content + path);
}

TEST(RequestWithoutHandle, IsUsableButForEscaping) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    CHttpRequest request;
    ASSERT_TRUE(recorder.Events().at(0).forced);

    EXPECT_EQ(request.getVerb(), HTTPOPERATION_NOT_SET);
    EXPECT_EQ(request.encodeParam("a"), "");
    EXPECT_EQ(request.decodeParam("a"), "");
    request.setVerb(HTTPOPERATION_GET);
    request.addParam("a", "1");
    request.addParam("b", "2");
    EXPECT_EQ(request.getParamsAppendInURL(), "?a=&b=");
    std::string out;
    EXPECT_EQ(request.codeSetConvert("GBK", "UTF-8", "\xD6\xD0", out), 0);
    EXPECT_EQ(out, "\xE4\xB8\xAD");
    EXPECT_TRUE(request.setContentType("text/plain"));
    EXPECT_EQ(request.getContentType(), "text/plain");
    EXPECT_TRUE(request.setContent("body"));
    EXPECT_EQ(request.getContent(), "body");
}

TEST(RequestWithoutHandle, EndsWithoutLibcurl) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    { const CHttpRequest request; }
    EXPECT_EQ(recorder.Events().size(), 1u) << "the one that failed";
}

TEST(RequestWithoutHandle, NeverAsksLibcurlToEscape) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    CHttpRequest request;
    const EscapeSeam seam;
    UseAll(request);
    EXPECT_TRUE(seam.Calls().empty());
}

TEST(Escaping, GivesLibcurlTheRequestsHandleAndTheWholeText) {
    CHttpRequestImp request;
    const std::string text("a\0 b", 4);
    const EscapeSeam seam;
    EXPECT_EQ(request.encodeParam(text), "a%00%20b");
    EXPECT_EQ(request.decodeParam("a%20b"), "a b");
    ASSERT_EQ(seam.Calls().size(), 2u);
    EXPECT_EQ(seam.Calls()[0].function, "curl_easy_escape");
    EXPECT_EQ(seam.Calls()[0].handle, request.m_pCurl.get());
    EXPECT_EQ(seam.Calls()[0].text, text);
    EXPECT_EQ(seam.Calls()[1].function, "curl_easy_unescape");
    EXPECT_EQ(seam.Calls()[1].handle, request.m_pCurl.get());
    EXPECT_EQ(seam.Calls()[1].text, "a%20b");
    EXPECT_TRUE(seam.Calls()[1].wantsLength);
}

TEST(Escaping, GivesLibcurlsTextsBack) {
    CHttpRequestImp request;
    const EscapeSeam seam;
    request.encodeParam("a");
    request.decodeParam("a");
    ASSERT_EQ(seam.Calls().size(), 2u);
    EXPECT_EQ(seam.Freed(), (std::vector<const void*>{seam.Calls()[0].result, seam.Calls()[1].result}));
}

TEST(Escaping, NeverAsksLibcurlAboutNothing) {
    CHttpRequestImp request;
    const EscapeSeam seam;
    request.encodeParam("");
    request.decodeParam("");
    EXPECT_TRUE(seam.Calls().empty());
}

TEST(Escaping, AnswersNothingWhenLibcurlFails) {
    CHttpRequest request;
    request.addParam("k", "v");
    EscapeSeam seam;
    seam.Fail();
    EXPECT_EQ(request.encodeParam("a"), "");
    EXPECT_EQ(request.decodeParam("a"), "");
    EXPECT_EQ(request.getParamsAppendInURL(), "k=");
    EXPECT_EQ(seam.Calls().size(), 3u);
}

TEST(ConversionBuffer, IsTwiceTheTextAndTwoBytesAllZero) {
    const CHttpRequest request;
    for (const std::size_t size : {0u, 1u, 7u, 1000u}) {
        const ZeroingSeam seam;
        std::string out;
        EXPECT_EQ(request.codeSetConvert("GBK", "UTF-8", std::string(size, 'a'), out), 0);
        ASSERT_EQ(seam.Calls().size(), 1u) << "sized once, never grown";
        EXPECT_EQ(seam.Calls()[0].room, 2 * size + 2);
        EXPECT_EQ(seam.Calls()[0].byte, 0);
        EXPECT_EQ(seam.Calls()[0].count, 2 * size + 2);
    }
}

TEST(ConversionBuffer, IsNotMadeForCopiesAndUnknownSets) {
    const CHttpRequest request;
    const ZeroingSeam seam;
    std::string out;
    EXPECT_EQ(request.codeSetConvert("UTF-8", "UTF-8", "a", out), 0);
    EXPECT_EQ(request.codeSetConvert("UNKOWN", "UTF-8", "a", out), -1);
    EXPECT_EQ(request.codeSetConvert("no-such-set", "UTF-8", "a", out), -1);
    EXPECT_TRUE(seam.Calls().empty());
}
