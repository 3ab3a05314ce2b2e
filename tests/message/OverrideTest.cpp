// SPDX-License-Identifier: Apache-2.0
// The implementations call their own virtual operations, so that a class derived from one can
// change the others.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "message/HttpRequestImp.h"
#include "message/HttpResponseImp.h"

namespace {

using Values = std::vector<std::string>;

class RequestWithOwnLookUp final : public CHttpRequestImp {
public:
    using CHttpRequestImp::getRequestHeadEntry;
    std::string getRequestHeadEntry(const std::string& name) const override { return "own " + name; }
};

class RequestWithOwnAddition final : public CHttpRequestImp {
public:
    bool addRequestHeadEntry(const std::string& name, const std::string& value) override {
        added.push_back(name + ": " + value);
        return answer;
    }
    Values added;
    bool answer = true;
};

class RequestWithOwnVectorSlot final : public CHttpRequestImp {
public:
    using CHttpRequestImp::addParam;
    bool addParam(const std::string& name, std::vector<std::string> values) override {
        values.insert(values.begin(), name);
        added.push_back(std::move(values));
        return answer;
    }
    std::vector<Values> added;
    bool answer = true;
};

class RequestWithOwnTextServices final : public CHttpRequestImp {
public:
    int codeSetConvert(const std::string& from, const std::string& to, const std::string& in,
                       std::string& out) const override {
        calls.push_back("convert " + from + " " + to + " " + in + " into '" + out + "'");
        out = "[" + in + "]";
        return result;
    }
    std::string encodeParam(const std::string& text) const override {
        calls.push_back("encode " + text);
        return "<" + text + ">";
    }
    mutable Values calls;
    int result = 0;
};

class RequestWithOwnCharset final : public CHttpRequestImp {
public:
    std::string getAcceptCharset() const override { return "ISO-8859-1"; }
};

class ResponseWithOwnLookUp final : public CHttpResponseImp {
public:
    using CHttpResponseImp::getResponseHeadEntry;
    std::string getResponseHeadEntry(const std::string& name) const override { return "own=" + name; }
};

class ResponseWithOwnContentType final : public CHttpResponseImp {
public:
    std::string getContentType() const override { return "a/b; c=own"; }
};

class ResponseWithOwnAddition final : public CHttpResponseImp {
public:
    bool addResponseHeadEntry(const std::string& name, const std::string& value) override {
        added = name + ": " + value;
        return false;
    }
    std::string added;
};

} // namespace

TEST(RequestOverride, OfTheLookUpChangesTheWellKnownGetters) {
    RequestWithOwnLookUp request;
    EXPECT_EQ(request.getContentType(), "own Content-Type");
    EXPECT_EQ(request.getContentEncoding(), "own Content-Encoding");
    EXPECT_EQ(request.getContentLanguage(), "own Content-Language");
    EXPECT_EQ(request.getAcceptCharset(), "own Accept-Charset");
    EXPECT_EQ(request.getAcceptLanguage(), "own Accept-Language");
    EXPECT_EQ(request.getAcceptEncoding(), "own Accept-Encoding");
    EXPECT_EQ(request.getAccept(), "own Accept_MIME");
    EXPECT_EQ(request.getRequestHeadEntry(0u), "") << "and nothing else";
    EXPECT_EQ(request.getUrlPath() + request.getContent() + request.getCustomCookieParam(), "");
}

TEST(RequestOverride, OfTheLookUpChangesTheParametersCharacterSet) {
    RequestWithOwnLookUp request;
    request.addParam("k", "v");
    EXPECT_EQ(request.getParamsAppendInURL(), "k=") << "there is no set of the name that it answers";
}

TEST(RequestOverride, OfTheAdditionChangesTheWellKnownSetters) {
    RequestWithOwnAddition request;
    const Values expected{"Content-Type: 1",   "Content-Encoding: 2", "Content-Language: 3",
                          "Accept-Charset: 4", "Accept-Language: 5",  "Accept-Encoding: 6",
                          "Accept_MIME: 7",    "XX-Forward-Filter: 8"};
    for (const bool answer : {true, false}) {
        request.answer = answer;
        request.added.clear();
        EXPECT_EQ(request.setContentType("1"), answer);
        EXPECT_EQ(request.setContentEncoding("2"), answer);
        EXPECT_EQ(request.setContentLanguage("3"), answer);
        EXPECT_EQ(request.setAcceptCharset("4"), answer);
        EXPECT_EQ(request.setAcceptLanguage("5"), answer);
        EXPECT_EQ(request.setAcceptEncoding("6"), answer);
        EXPECT_EQ(request.setAccept("7"), answer);
        EXPECT_EQ(request.setForwardFilter("8"), answer);
        EXPECT_EQ(request.added, expected);
    }
    EXPECT_EQ(request.getRequestHeadEntryNums(), 0u);
}

TEST(RequestOverride, OfTheVectorSlotChangesTheSingleValueForm) {
    RequestWithOwnVectorSlot request;
    EXPECT_TRUE(request.addParam("k", "v"));
    request.answer = false;
    EXPECT_FALSE(request.addParam(" ", "")) << "nothing is checked before";
    EXPECT_EQ(request.added, (std::vector<Values>{{"k", "v"}, {" ", ""}}));
    EXPECT_EQ(request.getParamNums(), 0u);
}

TEST(RequestOverride, OfTheTextServicesChangesTheParameterText) {
    RequestWithOwnTextServices request;
    request.setVerb(HTTPOPERATION_GET);
    request.addParam("a", Values{"1", ""});
    request.addParam("b", "2");
    EXPECT_EQ(request.getParamsAppendInURL(), "?a=<[1]>&a=<[]>&b=<[2]>");
    EXPECT_EQ(request.calls,
              (Values{"convert GBK UTF-8 1 into ''", "encode [1]", "convert GBK UTF-8  into ''", "encode []",
                      "convert GBK UTF-8 2 into ''", "encode [2]"}))
        << "each value into a fresh text";
}

TEST(RequestOverride, ConversionIsAskedWithTheRequestsOwnCharacterSet) {
    RequestWithOwnTextServices request;
    request.setAcceptCharset("UTF-8");
    request.addParam("k", "v");
    EXPECT_EQ(request.getParamsAppendInURL(), "k=<[v]>");
    EXPECT_EQ(request.calls, (Values{"convert UTF-8 UTF-8 v into ''", "encode [v]"}));
}

TEST(RequestOverride, ResultOfTheConversionIsIgnored) {
    RequestWithOwnTextServices request;
    request.result = -1;
    request.addParam("k", "v");
    EXPECT_EQ(request.getParamsAppendInURL(), "k=<[v]>");
}

TEST(RequestOverride, NothingIsConvertedAfterANameWithoutValues) {
    RequestWithOwnTextServices request;
    request.addParam("a", "1");
    request.addParam("b", Values{});
    request.addParam("c", "2");
    EXPECT_EQ(request.getParamsAppendInURL(), "");
    EXPECT_EQ(request.calls, (Values{"convert GBK UTF-8 1 into ''", "encode [1]"}));
}

TEST(RequestOverride, OfTheCharsetGetterChangesTheParameterText) {
    RequestWithOwnCharset request;
    request.setAcceptCharset("GBK");
    request.addParam("k", "\xE9");
    EXPECT_EQ(request.getParamsAppendInURL(), "k=%C3%A9");
}

TEST(ResponseOverride, OfTheLookUpChangesContentTypeAndCharset) {
    const ResponseWithOwnLookUp response;
    EXPECT_EQ(response.getContentType(), "own=Content-Type");
    EXPECT_EQ(response.getCharset(), "Content-Type");
    EXPECT_EQ(response.getResponseHeadEntry(0u), "");
}

TEST(ResponseOverride, OfTheContentTypeChangesTheCharset) {
    ResponseWithOwnContentType response;
    response.setContentType("a/b; c=stored");
    EXPECT_EQ(response.getCharset(), "own");
    EXPECT_EQ(response.getResponseHeadEntry("Content-Type"), "a/b; c=stored");
}

TEST(ResponseOverride, OfTheAdditionChangesTheContentTypeSetter) {
    ResponseWithOwnAddition response;
    EXPECT_FALSE(response.setContentType("a/b"));
    EXPECT_EQ(response.added, "Content-Type: a/b");
    EXPECT_EQ(response.getResponseHeadNums(), 0u);
}
