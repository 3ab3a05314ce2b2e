// SPDX-License-Identifier: Apache-2.0
#include "client/ResponseFill.h"

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpResponse.h>

#include "interpose/Allocations.h"
#include "message/HttpResponseImp.h"
#include "message/RecordingResponse.h"

using httpclient::testing::CountedNew;

namespace {

/// An implementation that derives from the library's.
class ShoutingResponse final : public CHttpResponseImp {
public:
    void setResponseBody(const std::string& body) override { CHttpResponseImp::setResponseBody(body + "!"); }
    void setResponseHead(const std::string& head) override { CHttpResponseImp::setResponseHead(head + "!"); }
    bool setContentType(const std::string& type) override {
        return CHttpResponseImp::setContentType(type + "!");
    }
};

void Fill(CHttpResponse& response) {
    ResponseFill fill(response, "type");
    fill.Head("head");
    fill.Body("body");
    fill.ContentType();
}

} // namespace

TEST(ResponseFill, MovesTheTextsIntoTheLibrarysOwnImplementation) {
    CHttpResponse response;
    const auto& imp = static_cast<const CHttpResponseImp&>(*response.m_pImp);
    std::string body(1000, 'b');
    std::string head(1000, 'h');
    std::string type(1000, 't');
    const char* const bodyAt = body.data();
    const char* const headAt = head.data();
    const char* const typeAt = type.data();
    ResponseFill fill(response, std::move(type));
    fill.Body(std::move(body));
    fill.Head(std::move(head));
    fill.ContentType();
    EXPECT_EQ(imp.m_strBody.data(), bodyAt);
    EXPECT_EQ(imp.m_strHead.data(), headAt);
    EXPECT_EQ(imp.m_mapHeadEntry.at("Content-Type").data(), typeAt);
}

TEST(ResponseFill, SetsWhatTheSettersSet) {
    CHttpResponse filled;
    Fill(filled);
    CHttpResponse set;
    set.setResponseHead("head");
    set.setResponseBody("body");
    set.setContentType("type");
    EXPECT_EQ(filled.getResponseHead(), set.getResponseHead());
    EXPECT_EQ(filled.getResponseBody(), set.getResponseBody());
    EXPECT_EQ(filled.getContentType(), set.getContentType());
    EXPECT_EQ(filled.getResponseHeadNums(), set.getResponseHeadNums());
}

TEST(ResponseFill, ReplacesBodyAndHeadAndKeepsTheFirstContentType) {
    CHttpResponse response;
    Fill(response);
    ResponseFill fill(response, "new type");
    fill.Body("new body");
    fill.Head("new head");
    fill.ContentType();
    EXPECT_EQ(response.getResponseBody(), "new body");
    EXPECT_EQ(response.getResponseHead(), "new head");
    EXPECT_EQ(response.getContentType(), "type") << "as with setContentType()";
}

TEST(ResponseFill, TakesItsMemoryBeforeItFillsAnything) {
    CHttpResponse response;
    std::string type(1000, 't');
    {
        const CountedNew counted(1);
        EXPECT_THROW(ResponseFill(response, std::move(type)), std::bad_alloc);
    }
    EXPECT_EQ(response.getResponseHeadNums(), 0U);
    ResponseFill fill(response, "type");
    std::string body(1000, 'b');
    std::string head(1000, 'h');
    const CountedNew counted;
    fill.Body(std::move(body));
    fill.Head(std::move(head));
    fill.ContentType();
    EXPECT_EQ(counted.Count(), 0U);
}

TEST(ResponseFill, CallsEachSetterOfAForeignImplementationOnce) {
    std::vector<std::string> calls; // outlives the response, whose end is noted, too
    CHttpResponse response;
    response.m_pImp = std::make_unique<RecordingResponse>(calls);
    Fill(response);
    EXPECT_EQ(calls, (std::vector<std::string>{"setResponseHead(head)", "setResponseBody(body)",
                                               "setContentType(type)"}));
}

TEST(ResponseFill, CallsTheSettersOfADerivedImplementation) {
    CHttpResponse response;
    response.m_pImp = std::make_unique<ShoutingResponse>();
    Fill(response);
    EXPECT_EQ(response.getResponseHead(), "head!");
    EXPECT_EQ(response.getResponseBody(), "body!");
    EXPECT_EQ(response.getContentType(), "type!");
}

TEST(ResponseFill, DoesNothingToAResponseWithoutAnImplementation) {
    CHttpResponse response;
    response.m_pImp.reset();
    Fill(response);
    EXPECT_EQ(response.getResponseBody(), "");
    EXPECT_EQ(response.getResponseHead(), "");
}
