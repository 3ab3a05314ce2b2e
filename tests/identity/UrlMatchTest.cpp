// SPDX-License-Identifier: Apache-2.0
// Which service a URL path belongs to.
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "identity/HttpSiaToken.h"
#include "setting/Log.h"

using namespace std::string_literals;

namespace {

using Services = std::map<std::string, std::string>;

std::string Match(const Services& services, const std::string& url, bool bSiaAccess = false) {
    StartLog();
    CHttpSiaToken sia;
    sia.m_mapServiceUrl = services;
    const std::string service = sia.GetServiceNameByUrl(url, bSiaAccess);
    EXPECT_EQ(sia.GetServiceNameByUrl(url, bSiaAccess), service) << "the second look-up differs";
    EXPECT_EQ(sia.m_mapServiceUrl, services);
    EXPECT_EQ(Logged(0), Lines{});
    return service;
}

/// Expects these URLs and none of the others to match a pattern.
void ExpectMatches(const std::string& pattern, const std::vector<std::string>& urls,
                   const std::vector<std::string>& others = {}) {
    for (const std::string& url : urls) {
        EXPECT_EQ(Match({{pattern, "service"}}, url), "service") << pattern << " and " << url;
    }
    for (const std::string& url : others) {
        EXPECT_EQ(Match({{pattern, "service"}}, url), "") << pattern << " and " << url;
    }
}

const std::string ITEMS = "/rest/a/v1/items";

} // namespace

TEST(UrlMatch, OfAnExactPatternIsThePathItself) {
    ExpectMatches(ITEMS, {"/rest/a/v1/items"},
                  {"/rest/a/v1/items/7", "/rest/a/v1/item", "/rest/a/v1/itemss", "rest/a/v1/items",
                   "//rest/a/v1/items", "/x/rest/a/v1/items", "/", " /rest/a/v1/items"});
}

TEST(UrlMatch, OfAnExactPatternIsThePathWithOneSlashAtItsEnd) {
    ExpectMatches(ITEMS, {"/rest/a/v1/items/"}, {"/rest/a/v1/items//"});
}

TEST(UrlMatch, OfAnExactPatternWithASlashAtItsEndIsThePathWithAndWithoutIt) {
    ExpectMatches("/x/", {"/x", "/x/"}, {"/x//"});
    ExpectMatches("/x//", {"/x//"}, {"/x/"});
}

TEST(UrlMatch, OfASlashAloneIsThatOfAnEmptyPath) {
    ExpectMatches("/", {"/", "?x=1", "/?x=1"}, {"//", "x"});
    ExpectMatches("//", {"//"}, {"/"});
}

TEST(UrlMatch, LooksAtNothingFromTheFirstQuestionMarkOn) {
    ExpectMatches(
        ITEMS,
        {"/rest/a/v1/items?x=1", "/rest/a/v1/items/?x=1", "/rest/a/v1/items?", "/rest/a/v1/items?x=?/*/"},
        {"/rest/a/v1?/items"});
    ExpectMatches("/x?y", {}, {"/x?y"});
    ExpectMatches("/x?*", {}, {"/x?y"});
    ExpectMatches("/x*", {"/x?y"});
    ExpectMatches("/x/*", {}, {"/x?/"});
}

TEST(UrlMatch, OfAWildcardIsEveryPathThatBeginsWithTheTextBeforeIt) {
    ExpectMatches("/rest/a/v1/items/*",
                  {"/rest/a/v1/items/7", "/rest/a/v1/items/7/8", "/rest/a/v1/items/", "/rest/a/v1/items/*"},
                  {"/rest/a/v1/items", "/rest/a/v1/items?x=/", "/rest/a/v1/", "/"});
}

TEST(UrlMatch, IgnoresWhatFollowsTheFirstWildcard) {
    ExpectMatches("/rest/a/v1/*/detail", {"/rest/a/v1/anything", "/rest/a/v1/"});
    ExpectMatches("/a**", {"/a"});
    ExpectMatches("/a*b*c", {"/az"});
    ExpectMatches("/a*/", {"/a"});
}

TEST(UrlMatch, OfALeadingWildcardIsEveryPath) {
    for (const char* pattern : {"*", "*/rest"}) {
        ExpectMatches(pattern, {"/", "x", "/rest/a", "?x=1", "//", "*", "\xff"});
    }
}

TEST(UrlMatch, IsByteForByte) {
    ExpectMatches("/rest", {}, {"/Rest"});
    ExpectMatches("/rest/*", {}, {"/REST/x"});
    ExpectMatches("/a b", {}, {"/a%20b"});
    ExpectMatches("/a%2fb", {"/a%2fb"}, {"/a%2Fb"});
    ExpectMatches("/\xff\xfe", {"/\xff\xfe/"});
    ExpectMatches("/a", {}, {"http://host/a"});
    ExpectMatches("/a.c", {}, {"/abc"});
    ExpectMatches("/a\\", {}, {"/a"});
}

TEST(UrlMatch, DoesNotEndAtANul) {
    ExpectMatches("/a\0b"s, {"/a\0b/"s}, {"/a\0c"s});
    ExpectMatches("/a", {}, {"/a\0"s});
    ExpectMatches("/a\0*"s, {"/a\0c"s}, {"/a"});
}

TEST(UrlMatch, OfSeveralIsTheSmallestInByteOrder) {
    EXPECT_EQ(Match({{"/rest/a/*", "broad"}, {"/rest/a/v1/*", "narrow"}}, "/rest/a/v1/x"), "broad");
    EXPECT_EQ(Match({{"/rest/a/v1/x", "exact"}, {"/rest/a/v1/*", "narrow"}}, "/rest/a/v1/x"), "narrow");
    EXPECT_EQ(Match({{"/x/", "with"}, {"/x", "without"}}, "/x/"), "without");
    EXPECT_EQ(Match({{"/\xc3*", "later"}, {"/*", "first"}}, "/\xc3\xa4"), "first"); // bytes are unsigned
    EXPECT_EQ(Match({{"/B*", "capital"}, {"/*", "any"}, {"/b*", "small"}}, "/B"), "any");
}

TEST(UrlMatch, EndsAtTheFirstMatchEvenWhenThatHasNoService) {
    EXPECT_EQ(Match({{"/a*", ""}, {"/ab", "service"}}, "/ab"), "");
}

TEST(UrlMatch, KeepsThePathAsAnEarlierExactPatternLeftIt) {
    const Services services{{"/rest/a/b", "exact"}, {"/rest/a/v1/items/*", "items"}};
    EXPECT_EQ(Match(services, "/rest/a/v1/items/"), ""); // the first entry took the slash away
    EXPECT_EQ(Match(services, "/rest/a/v1/items//"), "items");
    EXPECT_EQ(Match(services, "/rest/a/v1/items/7"), "items");
    EXPECT_EQ(Match(services, "/rest/a/v1/items/7/"), "items");
    EXPECT_EQ(Match({{"/rest/a/v1/items/*", "items"}, {"/rest/z", "exact"}}, "/rest/a/v1/items/"), "items");
}

TEST(UrlMatch, LosesOneSlashAtEachExactPattern) {
    const std::string url = "/x///";
    EXPECT_EQ(Match({{"/x", "x"}}, url), "");
    EXPECT_EQ(Match({{"/a", "a"}, {"/x", "x"}}, url), "");
    EXPECT_EQ(Match({{"/a", "a"}, {"/b", "b"}, {"/x", "x"}}, url), "x");
    EXPECT_EQ(Match({{"/a", "a"}, {"/b", "b"}, {"/c", "c"}, {"/x", "x"}}, url), "x");
    EXPECT_EQ(Match({{"/x", "x"}, {"/y", "y"}, {"/z", "z"}}, url), "");
}

TEST(UrlMatch, LosesNoSlashAtAWildcard) {
    EXPECT_EQ(Match({{"/a*", "a"}, {"/b*", "b"}, {"/c*", "c"}, {"/x", "x"}}, "/x///"), "");
    EXPECT_EQ(Match({{"/a", "a"}, {"/b*", "b"}, {"/c", "c"}, {"/x", "x"}}, "/x///"), "x");
}

TEST(UrlMatch, LeavesAnEmptyPathAsItIs) {
    EXPECT_EQ(Match({{"!", "first"}, {"\"", "second"}, {"/", "slash"}}, "/"), "slash");
    EXPECT_EQ(Match({{"!", "first"}, {"\"", "second"}, {"/", "slash"}}, "////"), "");
    EXPECT_EQ(Match({{"!", "first"}, {"\"", "second"}, {"/", "slash"}}, "///"), "slash");
}

TEST(UrlMatch, IsEmptyForAnEmptyUrlAndWithoutConfiguration) {
    EXPECT_EQ(Match({{"*", "any"}, {"/", "slash"}}, ""), "");
    EXPECT_EQ(Match({}, "/rest"), "");
    EXPECT_EQ(Match({}, ""), "");
}

TEST(UrlMatch, OfSiaAccessIsTheFixedServiceWhateverElse) {
    for (const Services& services : {Services{{ITEMS, "items"}}, Services{}}) {
        for (const std::string& url : {ITEMS, "/elsewhere"s, ""s}) {
            EXPECT_EQ(Match(services, url, true), "ServiceIdentityAccessService") << url;
        }
    }
}

TEST(UrlMatch, OfAMegabyteOfSlashesLosesOneToo) {
    const std::string slashes(std::size_t{1} << 20, '/');
    EXPECT_EQ(Match({{slashes, "service"}}, slashes), "service");
    EXPECT_EQ(Match({{slashes, "service"}}, slashes + "/"), "");
    EXPECT_EQ(Match({{"//*", "service"}}, slashes), "service");
}
