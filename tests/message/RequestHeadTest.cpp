// SPDX-License-Identifier: Apache-2.0
// Header entries and plain fields of a request.
#include <climits>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>
#include <httpclient/testing/RecordingTrace.h>

#include "WellKnownEntries.h"

using namespace std::string_literals;
using Head = std::map<std::string, std::string>;

TEST(NewRequest, IsEmptyAndHasNoVerb) {
    const CHttpRequest request;
    EXPECT_EQ(request.getVerb(), 6);
    EXPECT_EQ(request.getUrlPath(), "");
    EXPECT_EQ(request.getContent(), "");
    EXPECT_EQ(request.getCustomCookieParam(), "");
    EXPECT_EQ(request.getRequestHeadEntryNums(), 0u);
    EXPECT_EQ(request.getRequestHead(), Head());
    EXPECT_EQ(request.getParamNums(), 0u);
    EXPECT_TRUE(request.getRequestParams().empty());
    EXPECT_EQ(request.getParamsAppendInURL(), "");
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        if (entry.get != nullptr) {
            EXPECT_EQ((request.*entry.get)(), "") << entry.name;
        }
    }
}

TEST(Verb, ValuesAreThoseOfTheAbi) {
    static_assert(sizeof(HTTPOPERATIONTYPE) == 4);
    EXPECT_EQ(HTTPOPERATION_GET, 1);
    EXPECT_EQ(HTTPOPERATION_PUT, 2);
    EXPECT_EQ(HTTPOPERATION_POST, 3);
    EXPECT_EQ(HTTPOPERATION_DELETE, 4);
    EXPECT_EQ(HTTPOPERATION_HEAD, 5);
    EXPECT_EQ(HTTPOPERATION_NOT_SET, 6);
}

TEST(RequestHead, FirstValueOfANameWins) {
    CHttpRequest request;
    EXPECT_TRUE(request.addRequestHeadEntry("A", "1"));
    EXPECT_TRUE(request.addRequestHeadEntry("A", "2"));
    EXPECT_EQ(request.getRequestHeadEntry("A"), "1");
    EXPECT_EQ(request.getRequestHeadEntryNums(), 1u);
}

TEST(RequestHead, RemovedNameTakesANewValue) {
    CHttpRequest request;
    request.addRequestHeadEntry("A", "1");
    EXPECT_TRUE(request.removeRequestHeadEntry("A"));
    EXPECT_TRUE(request.addRequestHeadEntry("A", "2"));
    EXPECT_EQ(request.getRequestHead(), (Head{{"A", "2"}}));
}

TEST(RequestHead, BlankNamesAreRefusedAndChangeNothing) {
    CHttpRequest request;
    request.addRequestHeadEntry("A", "1");
    for (const std::string& name : {""s, " "s, "   "s, std::string(300, ' ')}) {
        EXPECT_FALSE(request.addRequestHeadEntry(name, "x")) << name.size();
    }
    EXPECT_EQ(request.getRequestHead(), (Head{{"A", "1"}}));
}

TEST(RequestHead, OnlySpacesAreBlank) {
    const Head entries{{"\t", "1"},   {"\tX", "2"},       {" X", "3"}, {"X ", "4"},  {"\n", "5"},
                       {"  \t", "6"}, {"\xC2\xA0"s, "7"}, {"\r", "8"}, {"\0"s, "9"}, {"\0 "s, "10"}};
    CHttpRequest request;
    for (const auto& [name, value] : entries) {
        EXPECT_TRUE(request.addRequestHeadEntry(name, value)) << value;
    }
    EXPECT_EQ(request.getRequestHead(), entries);
}

TEST(RequestHead, EmptyValueIsStoredAndReadsLikeAnAbsentOne) {
    CHttpRequest request;
    EXPECT_TRUE(request.addRequestHeadEntry("A", ""));
    EXPECT_TRUE(request.addRequestHeadEntry("A", "late"));
    EXPECT_EQ(request.getRequestHeadEntryNums(), 1u);
    EXPECT_EQ(request.getRequestHeadEntry("A"), "");
    EXPECT_EQ(request.getRequestHeadEntry("B"), "");
    EXPECT_EQ(request.getRequestHead(), (Head{{"A", ""}}));
}

TEST(RequestHead, ValuesAreKeptByteForByte) {
    const std::string value = " line\r\nbreak\0and more\xFF "s;
    CHttpRequest request;
    EXPECT_TRUE(request.addRequestHeadEntry("A", value));
    EXPECT_EQ(request.getRequestHeadEntry("A"), value);
}

TEST(RequestHead, NamesMatchByteForByte) {
    CHttpRequest request;
    request.addRequestHeadEntry("content-type", "text/lower");
    EXPECT_EQ(request.getContentType(), "");
    request.setContentType("text/exact");
    request.addRequestHeadEntry("A\0b"s, "with NUL");
    EXPECT_EQ(request.getContentType(), "text/exact");
    EXPECT_EQ(request.getRequestHeadEntry("content-type"), "text/lower");
    EXPECT_EQ(request.getRequestHeadEntry("CONTENT-TYPE"), "");
    EXPECT_EQ(request.getRequestHeadEntry("Content-Type "), "");
    EXPECT_EQ(request.getRequestHeadEntry("Content-Typ"), "");
    EXPECT_EQ(request.getRequestHeadEntry("A"), "");
    EXPECT_EQ(request.getRequestHeadEntry("A\0b"s), "with NUL");
    EXPECT_EQ(request.getRequestHeadEntryNums(), 3u);
}

TEST(RequestHead, IndexCountsInByteOrderOfTheNames) {
    CHttpRequest request;
    request.addRequestHeadEntry("b", "value of b");
    request.addRequestHeadEntry("a", "value of a");
    request.addRequestHeadEntry("C", "value of C");
    EXPECT_EQ(request.getRequestHeadEntry(0u), "value of C");
    EXPECT_EQ(request.getRequestHeadEntry(1u), "value of a");
    EXPECT_EQ(request.getRequestHeadEntry(2u), "value of b");
    EXPECT_EQ(request.getRequestHeadEntry(3u), "");
    EXPECT_EQ(request.getRequestHeadEntry(UINT_MAX), "");
}

TEST(RequestHead, BytesAbove127ComeLastAndPrefixesFirst) {
    CHttpRequest request;
    for (const char* name : {"\xFF", "z", "aa", "a", "\x80", "A-", "A"}) {
        request.addRequestHeadEntry(name, name);
    }
    std::string order;
    for (unsigned int index = 0; index < request.getRequestHeadEntryNums(); ++index) {
        order += request.getRequestHeadEntry(index) + ";";
    }
    EXPECT_EQ(order, "A;A-;a;aa;z;\x80;\xFF;");
}

TEST(RequestHead, IndexOfAnEmptyHeadIsOutOfRange) {
    EXPECT_EQ(CHttpRequest().getRequestHeadEntry(0u), "");
}

TEST(RequestHead, RemovalSaysWhetherThereWasSuchAnEntry) {
    CHttpRequest request;
    EXPECT_FALSE(request.removeRequestHeadEntry("x"));
    request.addRequestHeadEntry("X", "1");
    EXPECT_FALSE(request.removeRequestHeadEntry("x"));
    EXPECT_FALSE(request.removeRequestHeadEntry(""));
    EXPECT_TRUE(request.removeRequestHeadEntry("X"));
    EXPECT_FALSE(request.removeRequestHeadEntry("X"));
    EXPECT_EQ(request.getRequestHeadEntryNums(), 0u);
}

TEST(RequestHead, RemovingAllTakesTheWellKnownEntriesToo) {
    CHttpRequest request;
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        (request.*entry.set)("x");
    }
    request.addRequestHeadEntry("Own", "x");
    EXPECT_EQ(request.getRequestHeadEntryNums(), 9u);
    request.removeRequestHead();
    EXPECT_EQ(request.getRequestHeadEntryNums(), 0u);
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        if (entry.get != nullptr) {
            EXPECT_EQ((request.*entry.get)(), "") << entry.name;
        }
    }
}

TEST(RequestHead, CopyOfTheHeadIsTheCallersOwn) {
    CHttpRequest request;
    request.addRequestHeadEntry("A", "1");
    Head copy = request.getRequestHead();
    copy["A"] = "2";
    copy["B"] = "3";
    EXPECT_EQ(request.getRequestHead(), (Head{{"A", "1"}}));
}

TEST(WellKnownEntry, IsAnOrdinaryEntryUnderItsExactName) {
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        SCOPED_TRACE(entry.name);
        CHttpRequest request;
        EXPECT_TRUE((request.*entry.set)("some value"));
        EXPECT_EQ(request.getRequestHead(), (Head{{entry.name, "some value"}}));
        if (entry.get != nullptr) {
            EXPECT_EQ((request.*entry.get)(), "some value");
        }
    }
}

TEST(WellKnownEntry, IsReadHoweverItWasAdded) {
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        if (entry.get == nullptr) {
            continue;
        }
        CHttpRequest request;
        request.addRequestHeadEntry(entry.name, "added by name");
        EXPECT_EQ((request.*entry.get)(), "added by name") << entry.name;
    }
}

TEST(WellKnownEntry, FirstValueWins) {
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        SCOPED_TRACE(entry.name);
        CHttpRequest request;
        EXPECT_TRUE((request.*entry.set)(""));
        EXPECT_TRUE((request.*entry.set)("second"));
        EXPECT_EQ(request.getRequestHead(), (Head{{entry.name, ""}}));
        EXPECT_TRUE(request.removeRequestHeadEntry(entry.name));
        EXPECT_TRUE((request.*entry.set)("third"));
        EXPECT_EQ(request.getRequestHeadEntry(entry.name), "third");
    }
}

TEST(WellKnownEntry, EachHasANameOfItsOwn) {
    CHttpRequest request;
    Head expected;
    for (const WellKnownEntry& entry : WELL_KNOWN_ENTRIES) {
        (request.*entry.set)(std::string("value of ") + entry.name);
        expected[entry.name] = std::string("value of ") + entry.name;
    }
    EXPECT_EQ(expected.size(), 8u);
    EXPECT_EQ(request.getRequestHead(), expected);
}

TEST(WellKnownEntry, AcceptTravelsUnderItsOwnName) {
    CHttpRequest request;
    request.setAccept("application/json");
    EXPECT_EQ(request.getRequestHeadEntry("Accept_MIME"), "application/json");
    EXPECT_EQ(request.getRequestHeadEntry("Accept"), "");
}

TEST(PlainField, VerbIsStoredUnchecked) {
    CHttpRequest request;
    for (const int value : {1, 2, 3, 4, 5, 6, 0, -1, 77, INT_MAX}) {
        request.setVerb(static_cast<HTTPOPERATIONTYPE>(value));
        EXPECT_EQ(static_cast<int>(request.getVerb()), value);
    }
}

TEST(PlainField, TextsAreStoredUnchangedAndReplaced) {
    const std::string odd = "no slash?a=%zz&\r\n\0behind\xFF"s;
    CHttpRequest request;
    for (const std::string& text : {"first"s, odd, ""s, " "s}) {
        request.setUrlPath(text);
        EXPECT_TRUE(request.setContent(text));
        request.setCustomCookieParam(text);
        EXPECT_EQ(request.getUrlPath(), text);
        EXPECT_EQ(request.getContent(), text);
        EXPECT_EQ(request.getCustomCookieParam(), text);
    }
}

TEST(PlainField, IsNoHeaderEntryAndNoParameter) {
    CHttpRequest request;
    request.setUrlPath("/path");
    request.setContent("body");
    request.setCustomCookieParam("cookie=1");
    request.setVerb(HTTPOPERATION_GET);
    EXPECT_EQ(request.getRequestHeadEntryNums(), 0u);
    EXPECT_EQ(request.getParamNums(), 0u);
    request.removeRequestHead();
    request.RemoveAllParams();
    EXPECT_EQ(request.getUrlPath(), "/path");
    EXPECT_EQ(request.getContent(), "body");
    EXPECT_EQ(request.getCustomCookieParam(), "cookie=1");
    EXPECT_EQ(request.getVerb(), HTTPOPERATION_GET);
}

TEST(Request, NeverLogs) {
    auto& trace = httpclient::testing::TraceRecorder::Instance();
    trace.Clear();
    {
        CHttpRequest request;
        std::string out;
        request.addRequestHeadEntry("", "refused");
        request.addParam(" ", "refused");
        request.getRequestHeadEntry(7u);
        request.getParam(7u);
        request.setAcceptCharset("no-such-set");
        request.addParam("k", "v");
        request.getParamsAppendInURL();
        request.codeSetConvert("no-such-set", "UTF-8", "x", out);
        request.codeSetConvert("GBK", "UTF-8", "\xD6", out);
        request.decodeParam("%zz");
    }
    EXPECT_TRUE(trace.Messages().empty());
    EXPECT_EQ(trace.Formatted(), 0u);
}
