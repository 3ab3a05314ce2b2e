// SPDX-License-Identifier: Apache-2.0
// Query parameters of a request: the store and its rendering.
#include <climits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>

using namespace std::string_literals;
using Values = std::vector<std::string>;
using Params = std::map<std::string, Values>;

namespace {

/// What a request of this verb, character set ("": none named) and these parameters renders.
std::string Rendered(HTTPOPERATIONTYPE verb, const std::string& charset, const Params& params) {
    CHttpRequest request;
    request.setVerb(verb);
    if (!charset.empty()) {
        request.setAcceptCharset(charset);
    }
    for (const auto& [name, values] : params) {
        request.addParam(name, values);
    }
    return request.getParamsAppendInURL();
}

/// What becomes of one value.
std::string RenderedValue(const std::string& charset, const std::string& value) {
    const std::string text = Rendered(HTTPOPERATION_POST, charset, {{"k", {value}}});
    return text.substr(0, 2) == "k=" ? text.substr(2) : "not rendered: " + text;
}

} // namespace

TEST(Parameters, FirstValuesOfANameWin) {
    CHttpRequest request;
    EXPECT_TRUE(request.addParam("k", "1"));
    EXPECT_TRUE(request.addParam("k", "2"));
    EXPECT_TRUE(request.addParam("k", Values{"3", "4"}));
    EXPECT_EQ(request.getParam("k"), Values{"1"});
    EXPECT_EQ(request.getParamNums(), 1u);
}

TEST(Parameters, EmptyListAndEmptyValueAreFirstValuesToo) {
    CHttpRequest request;
    EXPECT_TRUE(request.addParam("list", Values{}));
    EXPECT_TRUE(request.addParam("list", "late"));
    EXPECT_TRUE(request.addParam("value", ""));
    EXPECT_TRUE(request.addParam("value", "late"));
    EXPECT_EQ(request.getRequestParams(), (Params{{"list", {}}, {"value", {""}}}));
}

TEST(Parameters, RemovedNameTakesNewValues) {
    CHttpRequest request;
    request.addParam("k", "1");
    EXPECT_TRUE(request.removeParam("k"));
    EXPECT_TRUE(request.addParam("k", Values{"2", "3"}));
    EXPECT_EQ(request.getRequestParams(), (Params{{"k", {"2", "3"}}}));
}

TEST(Parameters, BlankNamesAreRefusedInBothForms) {
    CHttpRequest request;
    request.addParam("a", "1");
    for (const std::string& name : {""s, " "s, "  "s}) {
        EXPECT_FALSE(request.addParam(name, "x"));
        EXPECT_FALSE(request.addParam(name, Values{"x", "y"}));
        EXPECT_FALSE(request.addParam(name, Values{}));
    }
    EXPECT_EQ(request.getRequestParams(), (Params{{"a", {"1"}}}));
    EXPECT_TRUE(request.addParam("\t", "x"));
    EXPECT_TRUE(request.addParam(" \n", "x"));
    EXPECT_EQ(request.getParamNums(), 3u);
}

TEST(Parameters, AreFoundByExactNameOnly) {
    CHttpRequest request;
    request.addParam("Key", Values{"1", "1", ""});
    EXPECT_EQ(request.getParam("Key"), (Values{"1", "1", ""}));
    EXPECT_EQ(request.getParam("key"), Values{});
    EXPECT_EQ(request.getParam("Ke"), Values{});
    EXPECT_EQ(request.getParam("Key "), Values{});
    EXPECT_EQ(request.getParam(""), Values{});
}

TEST(Parameters, IndexCountsInByteOrderOfTheNames) {
    CHttpRequest request;
    request.addParam("b", Values{"1", "2"});
    request.addParam("C", "3");
    EXPECT_EQ(request.getParam(0u), Values{"3"});
    EXPECT_EQ(request.getParam(1u), (Values{"1", "2"}));
    EXPECT_EQ(request.getParam(2u), Values{});
    EXPECT_EQ(request.getParam(5u), Values{});
    EXPECT_EQ(request.getParam(UINT_MAX), Values{});
    EXPECT_EQ(request.getParamNums(), 2u) << "names count, not values";
    EXPECT_EQ(CHttpRequest().getParam(0u), Values{});
}

TEST(Parameters, RemovalSaysWhetherThereWasSuchAName) {
    CHttpRequest request;
    EXPECT_FALSE(request.removeParam("k"));
    request.addParam("k", Values{});
    EXPECT_FALSE(request.removeParam("K"));
    EXPECT_TRUE(request.removeParam("k"));
    EXPECT_FALSE(request.removeParam("k"));
    EXPECT_EQ(request.getParamNums(), 0u);
}

TEST(Parameters, RemovingAllLeavesTheHeaderEntries) {
    CHttpRequest request;
    request.addParam("a", "1");
    request.addParam("b", "2");
    request.addRequestHeadEntry("H", "3");
    request.RemoveAllParams();
    EXPECT_EQ(request.getRequestParams(), Params());
    EXPECT_EQ(request.getRequestHeadEntryNums(), 1u);
    request.addParam("c", "4");
    request.removeRequestHead();
    EXPECT_EQ(request.getRequestParams(), (Params{{"c", {"4"}}}));
}

TEST(Parameters, CopiesAreTheCallersOwn) {
    CHttpRequest request;
    Values given{"1"};
    request.addParam("a", given);
    given.push_back("2");
    request.getParam("a").push_back("3");
    request.getRequestParams()["a"].push_back("4");
    EXPECT_EQ(request.getParam("a"), Values{"1"});
}

TEST(ParameterText, IsEmptyWithoutParametersWhateverTheVerb) {
    for (int verb = 1; verb <= 6; ++verb) {
        EXPECT_EQ(Rendered(static_cast<HTTPOPERATIONTYPE>(verb), "", {}), "") << verb;
    }
}

TEST(ParameterText, BeginsWithAQuestionMarkForGetAndDeleteOnly) {
    const Params params{{"k", {"v"}}};
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", params), "?k=v");
    EXPECT_EQ(Rendered(HTTPOPERATION_PUT, "", params), "k=v");
    EXPECT_EQ(Rendered(HTTPOPERATION_POST, "", params), "k=v");
    EXPECT_EQ(Rendered(HTTPOPERATION_DELETE, "", params), "?k=v");
    EXPECT_EQ(Rendered(HTTPOPERATION_HEAD, "", params), "k=v");
    EXPECT_EQ(Rendered(HTTPOPERATION_NOT_SET, "", params), "k=v");
    EXPECT_EQ(Rendered(static_cast<HTTPOPERATIONTYPE>(0), "", params), "k=v");
}

TEST(ParameterText, HasNamesInByteOrderAndValuesInGivenOrder) {
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"b", {"1", "2"}}, {"a", {"x y"}}}), "?a=x%20y&b=1&b=2");
    EXPECT_EQ(Rendered(HTTPOPERATION_POST, "", {{"b", {"2", "1", "2"}}, {"a", {"1"}}, {"B", {"0"}}}),
              "B=0&a=1&b=2&b=1&b=2");
}

TEST(ParameterText, WritesEmptyValuesAsBareNames) {
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"k", {""}}}), "?k=");
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"a", {"", ""}}, {"b", {""}}, {"c", {"1"}}}), "?a=&a=&b=&c=1");
}

TEST(ParameterText, IsEmptyAsSoonAsANameHasNoValues) {
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"a", {}}, {"b", {"1"}}}), "");
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"a", {"1"}}, {"b", {}}}), "");
    EXPECT_EQ(Rendered(HTTPOPERATION_POST, "", {{"a", {"1"}}, {"b", {}}, {"c", {"1"}}}), "");
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"a", {}}}), "");
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"b", {"1"}}}), "?b=1");
}

TEST(ParameterText, NamesAreNeitherConvertedNorEscaped) {
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"a b&=?%", {"1"}}}), "?a b&=?%=1");
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"\xD6\xD0", {"1"}}}), "?\xD6\xD0=1");
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "UTF-8", {{"\xFF\0x"s, {"1"}}}), "?\xFF\0x=1"s);
}

TEST(ParameterText, ValuesAreGbkUnlessTheRequestSaysOtherwise) {
    EXPECT_EQ(RenderedValue("", "\xD6\xD0\xCE\xC4"), "%E4%B8%AD%E6%96%87");
    EXPECT_EQ(RenderedValue("GBK", "\xD6\xD0\xCE\xC4"), "%E4%B8%AD%E6%96%87");
    EXPECT_EQ(RenderedValue("ISO-8859-1", "\xE9"), "%C3%A9");
    EXPECT_EQ(RenderedValue("GB18030", "\x81\x30\x81\x30"), "%C2%80");
}

TEST(ParameterText, EmptyCharacterSetMeansGbk) {
    CHttpRequest request;
    request.setAcceptCharset("");
    request.addParam("k", "\xD6\xD0");
    EXPECT_EQ(request.getParamsAppendInURL(), "k=%E4%B8%AD");
}

TEST(ParameterText, BytesThatAreNotGbkBecomeQuestionMarks) {
    EXPECT_EQ(RenderedValue("", "\xFF"), "%3F");
    EXPECT_EQ(RenderedValue("", "\x80"), "%3F");
    EXPECT_EQ(RenderedValue("", "a\xFF\xFF"
                                "b"),
              "a%3F%3Fb");
    EXPECT_EQ(RenderedValue("", "\xFF\xD6\xD0"), "%3F%E4%B8%AD");
}

TEST(ParameterText, HalfACharacterAtTheEndEmptiesTheValueAlone) {
    EXPECT_EQ(Rendered(HTTPOPERATION_GET, "", {{"k", {"1", "2\xD6", "3"}}}), "?k=1&k=&k=3");
}

TEST(ParameterText, Utf8ValuesAreOnlyEscaped) {
    EXPECT_EQ(RenderedValue("UTF-8", "\xE4\xB8\xAD"), "%E4%B8%AD");
    EXPECT_EQ(RenderedValue("UTF-8", "\xD6\xD0"), "%D6%D0") << "not even checked";
    EXPECT_EQ(RenderedValue("UTF-8", "a\0b"s), "a%00b") << "nor cut";
}

TEST(ParameterText, AnotherSpellingOfUtf8IsAConversion) {
    EXPECT_EQ(RenderedValue("utf-8", "\xE4\xB8\xAD"), "%E4%B8%AD");
    EXPECT_EQ(RenderedValue("utf-8", "a\xFF"), "a%3F");
}

TEST(ParameterText, ConvertedValuesEndAtTheirFirstNul) {
    EXPECT_EQ(RenderedValue("", "a\0b"s), "a");
    EXPECT_EQ(RenderedValue("", "\0b"s), "");
}

TEST(ParameterText, UnknownCharacterSetsEmptyTheValues) {
    for (const char* charset : {"no-such-set", "UNKOWN", " ", "UTF-8, *;q=0.5"}) {
        EXPECT_EQ(Rendered(HTTPOPERATION_GET, charset, {{"a", {"1", "2"}}, {"b", {"3"}}}), "?a=&a=&b=")
            << charset;
    }
}

TEST(ParameterText, CharacterSetHoldsForTheRequestThatNamesIt) {
    CHttpRequest named, unnamed;
    named.setAcceptCharset("ISO-8859-1");
    named.addParam("k", "\xD6\xD0");
    unnamed.addParam("k", "\xD6\xD0");
    EXPECT_EQ(named.getParamsAppendInURL(), "k=%C3%96%C3%90");
    EXPECT_EQ(unnamed.getParamsAppendInURL(), "k=%E4%B8%AD");
    named.removeRequestHead();
    EXPECT_EQ(named.getParamsAppendInURL(), "k=%E4%B8%AD");
}

TEST(ParameterText, IsTheSameEachTimeItIsAskedFor) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.addParam("k", Values{"\xD6\xD0", "\xFF"});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(request.getParamsAppendInURL(), "?k=%E4%B8%AD&k=%3F");
    }
}

TEST(ParameterText, EscapesWhatWouldEndAPair) {
    EXPECT_EQ(RenderedValue("", "a&b=c?d#e/f+g"), "a%26b%3Dc%3Fd%23e%2Ff%2Bg");
    EXPECT_EQ(RenderedValue("", "-._~AZaz09"), "-._~AZaz09");
}
