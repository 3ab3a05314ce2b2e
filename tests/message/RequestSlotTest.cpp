// SPDX-License-Identifier: Apache-2.0
// The virtual table of the request interface, which programs that were compiled against it rely on.
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RecordingRequest.h"
#include "VirtualTable.h"
#include "message/HttpRequestImp.h"

namespace {

using Text = std::string;
using Values = std::vector<Text>;
using SlotCall = std::function<void(CHttpRequestInter&, std::size_t)>;

constexpr std::size_t DESTRUCTORS = 2;

SlotCall Setter() {
    return [](CHttpRequestInter& r, std::size_t place) {
        EXPECT_TRUE(Slot<bool(const Text&)>::Call(r, place, "v"));
    };
}

SlotCall Getter(const Text& answer) {
    return [answer](CHttpRequestInter& r, std::size_t place) {
        EXPECT_EQ(Slot<Text()>::Call(r, place), "answer of " + answer);
    };
}

SlotCall Command() {
    return [](CHttpRequestInter& r, std::size_t place) { Slot<void()>::Call(r, place); };
}

SlotCall Store() {
    return [](CHttpRequestInter& r, std::size_t place) { Slot<void(const Text&)>::Call(r, place, "v"); };
}

SlotCall Removal() {
    return [](CHttpRequestInter& r, std::size_t place) {
        EXPECT_TRUE(Slot<bool(const Text&)>::Call(r, place, "n"));
    };
}

SlotCall Counter() {
    return
        [](CHttpRequestInter& r, std::size_t place) { EXPECT_EQ(Slot<unsigned int()>::Call(r, place), 42u); };
}

SlotCall Addition() {
    return [](CHttpRequestInter& r, std::size_t place) {
        EXPECT_TRUE((Slot<bool(const Text&, const Text&)>::Call(r, place, "n", "v")));
    };
}

template <class Result, class Key> SlotCall LookUp(Key key, const Result& answer) {
    return [key, answer](CHttpRequestInter& r, std::size_t place) {
        EXPECT_EQ((Slot<Result(Key)>::Call(r, place, key)), answer);
    };
}

template <class Result> SlotCall Copy(const Result& answer) {
    return [answer](CHttpRequestInter& r, std::size_t place) {
        EXPECT_EQ(Slot<Result()>::Call(r, place), answer);
    };
}

SlotCall TextService(const Text& answer) {
    return [answer](CHttpRequestInter& r, std::size_t place) {
        EXPECT_EQ(Slot<Text(const Text&)>::Call(r, place, "v"), answer);
    };
}

void AddValues(CHttpRequestInter& r, std::size_t place) {
    EXPECT_TRUE((Slot<bool(const Text&, Values)>::Call(r, place, "n", Values{"v", "w"})));
}

void SetVerb(CHttpRequestInter& r, std::size_t place) {
    Slot<void(HTTPOPERATIONTYPE)>::Call(r, place, HTTPOPERATION_DELETE);
}

void Convert(CHttpRequestInter& r, std::size_t place) {
    Text out = "out";
    EXPECT_EQ(
        (Slot<int(const Text&, const Text&, const Text&, Text&)>::Call(r, place, "from", "to", "in", out)),
        7);
    EXPECT_EQ(out, "answer of codeSetConvert");
}

const Text& NAME = *new Text("n");

/// What stands in each place after the destructors, called as its type demands.
std::vector<SlotCall> SlotCalls() {
    return {
        Addition(),
        Removal(),
        Command(),
        LookUp<Text, const Text&>(NAME, "answer of getRequestHeadEntry"),
        LookUp<Text, unsigned int>(3, "answer of getRequestHeadEntry"),
        Counter(),
        Copy(std::map<Text, Text>{{"name", "answer of getRequestHead"}}),
        Addition(),
        AddValues,
        Removal(),
        Command(),
        LookUp<Values, const Text&>(NAME, Values{"answer of getParam"}),
        LookUp<Values, unsigned int>(3, Values{"answer of getParam"}),
        Getter("getParamsAppendInURL"),
        Counter(),
        Copy(std::map<Text, Values>{{"name", {"answer of getRequestParams"}}}),
        Store(),
        Getter("getCustomCookieParam"),
        Setter(),
        Getter("getContentType"),
        Setter(),
        Getter("getContentEncoding"),
        Setter(),
        Getter("getContentLanguage"),
        Setter(),
        Getter("getContent"),
        Setter(),
        Getter("getAcceptCharset"),
        Setter(),
        Getter("getAcceptLanguage"),
        Setter(),
        Getter("getAcceptEncoding"),
        Setter(),
        Getter("getAccept"),
        SetVerb,
        Copy(HTTPOPERATION_HEAD),
        Store(),
        Getter("getUrlPath"),
        TextService("answer of encodeParam"),
        TextService("answer of decodeParam"),
        Convert,
        Setter(),
    };
}

} // namespace

TEST(RequestInterface, HasItsOperationsInOrder) {
    std::vector<std::string> calls;
    RecordingRequest request(calls);
    const std::vector<SlotCall> slots = SlotCalls();
    ASSERT_EQ(slots.size(), REQUEST_CALLS.size());
    for (std::size_t i = 0; i < slots.size(); ++i) {
        SCOPED_TRACE("slot " + std::to_string(i + 1) + ", " + REQUEST_CALLS[i]);
        slots[i](request, DESTRUCTORS + i);
        ASSERT_EQ(calls.size(), i + 1);
        ASSERT_EQ(calls[i], REQUEST_CALLS[i]);
    }
}

TEST(RequestInterface, HasTheDestructorsFirst) {
    std::vector<std::string> calls;
    CHttpRequestInter* const request = new RecordingRequest(calls);
    Slot<void()>::Call(*request, 0);
    EXPECT_EQ(calls, std::vector<std::string>{"destroyed"});
    ::operator delete(request); // the first destructor leaves the memory alone; the second gives it back
    Slot<void()>::Call(static_cast<CHttpRequestInter&>(*new RecordingRequest(calls)), 1);
    EXPECT_EQ(calls, (std::vector<std::string>{"destroyed", "destroyed"}));
}

TEST(RequestInterface, AnswersForImplementationsWithoutCookies) {
    std::vector<std::string> calls;
    RecordingRequest request(calls);
    request.CHttpRequestInter::setCustomCookieParam("cookie");
    EXPECT_EQ(request.CHttpRequestInter::getCustomCookieParam(), "");
    EXPECT_TRUE(calls.empty());
}
