// SPDX-License-Identifier: Apache-2.0
#include "client/SendParts.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>

#include "message/RecordingRequest.h"

namespace {

using Calls = std::vector<std::string>;

std::unique_ptr<CHttpRequest> MakeRequest(HTTPOPERATIONTYPE verb) {
    auto request = std::make_unique<CHttpRequest>();
    request->setVerb(verb);
    request->setUrlPath("/path");
    request->setCustomCookieParam("cookie=1");
    request->setAcceptEncoding("gzip");
    return request;
}

constexpr HTTPOPERATIONTYPE IN_THE_URL[] = {HTTPOPERATION_GET, HTTPOPERATION_DELETE};
constexpr HTTPOPERATIONTYPE IN_THE_CONTENT[] = {HTTPOPERATION_PUT, HTTPOPERATION_POST, HTTPOPERATION_HEAD,
                                                HTTPOPERATION_NOT_SET};

} // namespace

TEST(SendParts, AreWhatTheGettersTell) {
    const SendParts parts(*MakeRequest(HTTPOPERATION_PUT), "url", OwnBody::Sent);
    EXPECT_EQ(parts.verb, HTTPOPERATION_PUT);
    EXPECT_EQ(parts.url, "url");
    EXPECT_EQ(parts.content, "");
    EXPECT_EQ(parts.cookie, "cookie=1");
    EXPECT_EQ(parts.acceptEncoding, "gzip");
}

TEST(SendParts, HaveTheParametersOfAGetOrADeleteInTheUrl) {
    for (const HTTPOPERATIONTYPE verb : IN_THE_URL) {
        const auto request = MakeRequest(verb);
        request->addParam("a", "1");
        for (const OwnBody ownBody : {OwnBody::Sent, OwnBody::Ignored}) {
            const SendParts parts(*request, "url", ownBody);
            EXPECT_EQ(parts.url, "url?a=1") << verb;
            EXPECT_EQ(parts.content, "") << verb;
        }
    }
}

TEST(SendParts, HaveTheParametersOfAnyOtherVerbInTheContent) {
    for (const HTTPOPERATIONTYPE verb : IN_THE_CONTENT) {
        const auto request = MakeRequest(verb);
        request->addParam("a", "1");
        for (const OwnBody ownBody : {OwnBody::Sent, OwnBody::Ignored}) {
            const SendParts parts(*request, "url", ownBody);
            EXPECT_EQ(parts.url, "url") << verb;
            EXPECT_EQ(parts.content, "a=1") << verb;
        }
    }
}

TEST(SendParts, HaveTheOwnBodyInPlaceOfTheParametersWhereItIsSent) {
    for (const HTTPOPERATIONTYPE verb : IN_THE_CONTENT) {
        const auto request = MakeRequest(verb);
        request->addParam("a", "1");
        request->setContent("body");
        EXPECT_EQ(SendParts(*request, "url", OwnBody::Sent).content, "body") << verb;
        EXPECT_EQ(SendParts(*request, "url", OwnBody::Ignored).content, "a=1") << verb;
    }
}

TEST(SendParts, HaveTheOwnBodyOfAGetToo) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addParam("a", "1");
    request->setContent("body");
    const SendParts parts(*request, "url", OwnBody::Sent);
    EXPECT_EQ(parts.url, "url?a=1");
    EXPECT_EQ(parts.content, "body");
}

TEST(SendParts, AskEachGetterOnceAndForTheBodyOnlyWhereItIsSent) {
    Calls calls; // outlives the requests, whose end is noted, too
    for (const OwnBody ownBody : {OwnBody::Sent, OwnBody::Ignored}) {
        calls.clear();
        CHttpRequest request;
        request.m_pImp = std::make_unique<RecordingRequest>(calls);
        const SendParts parts(request, "url", ownBody);
        Calls expected{"getVerb()", "getParamNums()", "getParamsAppendInURL()", "getAcceptEncoding()",
                       "getCustomCookieParam()"};
        if (ownBody == OwnBody::Sent) {
            expected.emplace_back("getContent()");
        }
        EXPECT_EQ(calls, expected);
        EXPECT_EQ(parts.content,
                  ownBody == OwnBody::Sent ? "answer of getContent" : "answer of getParamsAppendInURL");
        EXPECT_EQ(parts.cookie, "answer of getCustomCookieParam");
        EXPECT_EQ(parts.acceptEncoding, "answer of getAcceptEncoding");
    }
}

TEST(SendParts, OfARequestWithoutAnImplementationAreEmptyWhereItsBodyIsIgnored) {
    CHttpRequest request;
    request.m_pImp.reset();
    const SendParts parts(request, "url", OwnBody::Ignored); // the body needs an implementation
    EXPECT_EQ(parts.verb, HTTPOPERATION_NOT_SET);
    EXPECT_EQ(parts.url, "url");
    EXPECT_EQ(parts.content + parts.cookie + parts.acceptEncoding, "");
}
