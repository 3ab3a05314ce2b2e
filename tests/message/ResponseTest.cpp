// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpResponse.h>
#include <httpclient/testing/RecordingTrace.h>

using namespace std::string_literals;

namespace {

std::string CharsetOf(const std::string& contentType) {
    CHttpResponse response;
    response.setContentType(contentType);
    return response.getCharset();
}

} // namespace

TEST(NewResponse, IsEmptyAndHasNoStatus) {
    const CHttpResponse response;
    EXPECT_EQ(response.getStatusCode(), -1);
    EXPECT_EQ(response.getContentLen(), 0.0);
    EXPECT_EQ(response.getResponseHeadNums(), 0u);
    EXPECT_EQ(response.getResponseHead(), "");
    EXPECT_EQ(response.getResponseBody(), "");
    EXPECT_EQ(response.getContentType(), "");
    EXPECT_EQ(response.getCharset(), "");
    EXPECT_EQ(response.getResponseHeadEntry("Content-Type"), "");
    EXPECT_EQ(response.getResponseHeadEntry(0u), "");
}

TEST(Response, TextsAreStoredUnchangedAndReplaced) {
    CHttpResponse response;
    for (const std::string& text : {"first"s, "HTTP/1.1 200 OK\r\nA: 1\r\n\r\n"s, "a\0b\xFF"s, ""s}) {
        response.setResponseHead(text);
        response.setResponseBody(text + "!");
        EXPECT_EQ(response.getResponseHead(), text);
        EXPECT_EQ(response.getResponseBody(), text + "!");
    }
}

TEST(Response, NumbersAreStoredUnchecked) {
    CHttpResponse response;
    for (const int code : {200, 0, -1, 999, INT_MIN, INT_MAX}) {
        response.setStatusCode(code);
        EXPECT_EQ(response.getStatusCode(), code);
    }
    for (const double length : {1.0, 0.5, -1.0, 4294967296.0, std::numeric_limits<double>::infinity()}) {
        response.setContentLen(length);
        EXPECT_EQ(response.getContentLen(), length);
    }
}

TEST(Response, HeadTextIsNeverSplitIntoEntries) {
    CHttpResponse response;
    response.addResponseHeadEntry("A", "1");
    response.setResponseHead("HTTP/1.1 200 OK\r\nA: 2\r\nContent-Type: text/html; charset=UTF-8\r\n\r\n");
    EXPECT_EQ(response.getResponseHeadNums(), 1u);
    EXPECT_EQ(response.getResponseHeadEntry("A"), "1");
    EXPECT_EQ(response.getContentType(), "");
    EXPECT_EQ(response.getCharset(), "");
}

TEST(ResponseHead, FirstValueOfANameWins) {
    CHttpResponse response;
    EXPECT_TRUE(response.addResponseHeadEntry("A", "1"));
    EXPECT_TRUE(response.addResponseHeadEntry("A", "2"));
    EXPECT_TRUE(response.addResponseHeadEntry("a", ""));
    EXPECT_TRUE(response.addResponseHeadEntry("a", "late"));
    EXPECT_EQ(response.getResponseHeadEntry("A"), "1");
    EXPECT_EQ(response.getResponseHeadEntry("a"), "");
    EXPECT_EQ(response.getResponseHeadNums(), 2u);
}

TEST(ResponseHead, BlankNamesAreRefusedAndChangeNothing) {
    CHttpResponse response;
    for (const std::string& name : {""s, " "s, "    "s}) {
        EXPECT_FALSE(response.addResponseHeadEntry(name, "x")) << name.size();
    }
    EXPECT_EQ(response.getResponseHeadNums(), 0u);
    EXPECT_TRUE(response.addResponseHeadEntry("\t", "x"));
    EXPECT_TRUE(response.addResponseHeadEntry(" x", "x"));
    EXPECT_EQ(response.getResponseHeadNums(), 2u);
}

TEST(ResponseHead, IndexCountsInByteOrderOfTheNames) {
    CHttpResponse response;
    response.addResponseHeadEntry("b", "value of b");
    EXPECT_EQ(response.getResponseHeadEntry(0u), "value of b");
    EXPECT_EQ(response.getResponseHeadEntry(1u), "");
    response.addResponseHeadEntry("\xFF", "value of FF");
    response.addResponseHeadEntry("C", "value of C");
    EXPECT_EQ(response.getResponseHeadEntry(0u), "value of C");
    EXPECT_EQ(response.getResponseHeadEntry(1u), "value of b");
    EXPECT_EQ(response.getResponseHeadEntry(2u), "value of FF");
    EXPECT_EQ(response.getResponseHeadEntry(3u), "");
    EXPECT_EQ(response.getResponseHeadEntry(UINT_MAX), "");
}

TEST(ResponseHead, NamesMatchByteForByte) {
    CHttpResponse response;
    response.addResponseHeadEntry("content-type", "text/lower");
    EXPECT_EQ(response.getContentType(), "");
    EXPECT_EQ(response.getResponseHeadEntry("Content-type"), "");
    EXPECT_EQ(response.getResponseHeadEntry("content-type"), "text/lower");
}

TEST(ResponseContentType, IsTheEntryOfThatName) {
    CHttpResponse set, added;
    EXPECT_TRUE(set.setContentType("text/html"));
    EXPECT_EQ(set.getResponseHeadEntry("Content-Type"), "text/html");
    EXPECT_EQ(set.getResponseHeadNums(), 1u);
    EXPECT_TRUE(added.addResponseHeadEntry("Content-Type", "text/plain"));
    EXPECT_EQ(added.getContentType(), "text/plain");
}

TEST(ResponseContentType, StaysWhatItWasSetToFirst) {
    CHttpResponse response;
    EXPECT_TRUE(response.setContentType("application/json"));
    EXPECT_TRUE(response.setContentType("text/html"));
    EXPECT_EQ(response.getContentType(), "application/json");
    EXPECT_EQ(response.getResponseHeadNums(), 1u);
}

TEST(ResponseContentType, StaysEmptyOnceSetToNothing) {
    CHttpResponse response;
    EXPECT_TRUE(response.setContentType(""));
    EXPECT_EQ(response.getResponseHeadNums(), 1u);
    EXPECT_TRUE(response.setContentType("text/html"));
    EXPECT_EQ(response.getContentType(), "");
    EXPECT_EQ(response.getResponseHeadNums(), 1u);
}

TEST(ResponseReuse, OverwritesEverythingButTheContentType) {
    CHttpResponse response;
    const auto fill = [&response](int status, const std::string& text, const std::string& type,
                                  double length) {
        response.setStatusCode(status);
        response.setResponseBody(text + " body");
        response.setContentType(type);
        response.setContentLen(length);
        response.setResponseHead(text + " head");
    };
    fill(200, "first", "application/json; charset=UTF-8", 10.0);
    fill(-1, "second", "text/html; charset=GBK", 2.0);
    EXPECT_EQ(response.getStatusCode(), -1);
    EXPECT_EQ(response.getResponseBody(), "second body");
    EXPECT_EQ(response.getResponseHead(), "second head");
    EXPECT_EQ(response.getContentLen(), 2.0);
    EXPECT_EQ(response.getContentType(), "application/json; charset=UTF-8");
    EXPECT_EQ(response.getCharset(), "UTF-8");
    EXPECT_EQ(response.getResponseHeadNums(), 1u);
}

TEST(ResponseCharset, IsWhatFollowsTheFirstEqualsSign) {
    EXPECT_EQ(CharsetOf("text/html; charset=UTF-8"), "UTF-8");
    EXPECT_EQ(CharsetOf("text/html; charset=\"UTF-8\""), "\"UTF-8\"");
    EXPECT_EQ(CharsetOf("multipart/form-data; boundary=x"), "x");
    EXPECT_EQ(CharsetOf("text/html; charset=GBK; q=1"), "GBK; q=1");
    EXPECT_EQ(CharsetOf("text/html; charset= gbk "), " gbk ");
    EXPECT_EQ(CharsetOf("a==b"), "=b");
    EXPECT_EQ(CharsetOf("a=b\0c"s), "b\0c"s);
}

TEST(ResponseCharset, IsEmptyWithoutAnEqualsSignAfterSomeText) {
    EXPECT_EQ(CharsetOf(""), "");
    EXPECT_EQ(CharsetOf("text/html"), "");
    EXPECT_EQ(CharsetOf("text/html; charset"), "");
    EXPECT_EQ(CharsetOf("=abc"), "");
    EXPECT_EQ(CharsetOf("=abc; charset=UTF-8"), "") << "the first one counts";
    EXPECT_EQ(CharsetOf("="), "");
    EXPECT_EQ(CharsetOf("a="), "");
}

TEST(Response, NeverLogs) {
    auto& trace = httpclient::testing::TraceRecorder::Instance();
    trace.Clear();
    {
        CHttpResponse response;
        response.addResponseHeadEntry(" ", "refused");
        response.getResponseHeadEntry(9u);
        response.getResponseHeadEntry("absent");
        response.getCharset();
    }
    EXPECT_TRUE(trace.Messages().empty());
    EXPECT_EQ(trace.Formatted(), 0u);
}
