// SPDX-License-Identifier: Apache-2.0
#include "message/RequestView.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>

#include "message/HttpRequestImp.h"
#include "message/RecordingRequest.h"

namespace {

using Head = std::map<std::string, std::string>;

std::unique_ptr<CHttpRequest> FullRequest() {
    auto request = std::make_unique<CHttpRequest>();
    request->setUrlPath("/path");
    request->setContent("body");
    request->setCustomCookieParam("cookie=1");
    request->setAcceptEncoding("gzip");
    return request;
}

/// What a view shows, and what it left in the copies that it was given.
struct Shown {
    explicit Shown(const CHttpRequest& request) {
        const RequestView view(request);
        texts = {view.UrlPath(copies[0]), view.Content(copies[1]), view.Cookie(copies[2]),
                 view.AcceptEncoding(copies[3])};
        head = view.RequestHead(headCopy);
    }
    std::vector<std::string> copies{4};
    std::optional<Head> headCopy;
    std::vector<std::string> texts;
    Head head;
};

/// An implementation that derives from the library's.
class ShoutingRequest final : public CHttpRequestImp {
public:
    std::string getUrlPath() const override { return CHttpRequestImp::getUrlPath() + "!"; }
    std::string getContent() const override { return CHttpRequestImp::getContent() + "!"; }
    std::string getCustomCookieParam() const override {
        return CHttpRequestImp::getCustomCookieParam() + "!";
    }
    std::string getAcceptEncoding() const override { return CHttpRequestImp::getAcceptEncoding() + "!"; }
    Head getRequestHead() const override { return {{"shouts", "!"}}; }
};

} // namespace

TEST(RequestView, RefersToTheTextsOfTheLibrarysOwnImplementation) {
    const auto request = FullRequest();
    const auto& imp = static_cast<const CHttpRequestImp&>(*request->m_pImp);
    const RequestView view(*request);
    std::string copy = "untouched";
    std::optional<Head> headCopy;
    EXPECT_EQ(&view.UrlPath(copy), &imp.m_strUrlPath);
    EXPECT_EQ(&view.Content(copy), &imp.m_strContent);
    EXPECT_EQ(&view.Cookie(copy), &imp.m_strCookie);
    EXPECT_EQ(&view.AcceptEncoding(copy), &imp.m_mapHeadEntry.at("Accept-Encoding"));
    EXPECT_EQ(&view.RequestHead(headCopy), &imp.m_mapHeadEntry);
    EXPECT_EQ(copy, "untouched");
    EXPECT_EQ(headCopy, std::nullopt);
}

TEST(RequestView, ShowsWhatTheGettersTell) {
    const auto request = FullRequest();
    const Shown shown(*request);
    EXPECT_EQ(shown.texts, (std::vector<std::string>{"/path", "body", "cookie=1", "gzip"}));
    EXPECT_EQ(shown.head, request->getRequestHead());
}

TEST(RequestView, ShowsNoEncodingWhereNoneIsSet) {
    CHttpRequest request;
    std::string copy;
    EXPECT_EQ(RequestView(request).AcceptEncoding(copy), "") << "no header at all";
    request.addRequestHeadEntry("Accept", "text/plain");
    EXPECT_EQ(RequestView(request).AcceptEncoding(copy), "") << "other headers";
}

TEST(RequestView, AsksEachGetterOfAForeignImplementationOnce) {
    std::vector<std::string> calls; // outlives the request, whose end is noted, too
    CHttpRequest request;
    request.m_pImp = std::make_unique<RecordingRequest>(calls);
    const Shown shown(request);
    EXPECT_EQ(calls, (std::vector<std::string>{"getUrlPath()", "getContent()", "getCustomCookieParam()",
                                               "getAcceptEncoding()", "getRequestHead()"}));
    EXPECT_EQ(shown.texts,
              (std::vector<std::string>{"answer of getUrlPath", "answer of getContent",
                                        "answer of getCustomCookieParam", "answer of getAcceptEncoding"}));
    EXPECT_EQ(shown.copies, shown.texts);
    EXPECT_EQ(shown.head, (Head{{"name", "answer of getRequestHead"}}));
    EXPECT_EQ(shown.headCopy, shown.head);
}

TEST(RequestView, AsksAnImplementationThatDerivesFromTheLibrarysToo) {
    CHttpRequest request;
    request.m_pImp = std::make_unique<ShoutingRequest>();
    request.setUrlPath("/path");
    request.setContent("body");
    request.setCustomCookieParam("cookie=1");
    request.setAcceptEncoding("gzip");
    const Shown shown(request);
    EXPECT_EQ(shown.texts, (std::vector<std::string>{"/path!", "body!", "cookie=1!", "gzip!"}));
    EXPECT_EQ(shown.head, (Head{{"shouts", "!"}}));
}

TEST(RequestView, ShowsNothingOfARequestWithoutAnImplementation) {
    CHttpRequest request;
    request.m_pImp.reset();
    const RequestView view(request);
    std::string copy;
    std::optional<Head> headCopy;
    EXPECT_EQ(view.UrlPath(copy), "");
    EXPECT_EQ(view.Cookie(copy), "");
    EXPECT_EQ(view.AcceptEncoding(copy), "");
    EXPECT_EQ(view.RequestHead(headCopy), Head{});
    // The body is not among them: its operations need an implementation.
}
