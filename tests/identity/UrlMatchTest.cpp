// SPDX-License-Identifier: Apache-2.0
// Which service a URL path belongs to.
#include <map>
#include <string>

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

bool Matches(const std::string& pattern, const std::string& url) {
    return Match({{pattern, "service"}}, url) == "service";
}

const Services ITEMS{{"/rest/a/v1/items", "items"}};

} // namespace

TEST(UrlMatch, OfAnExactPatternIsThePathItself) {
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items"), "items");
    for (const char* other : {"/rest/a/v1/items/7", "/rest/a/v1/item", "/rest/a/v1/itemss", "rest/a/v1/items",
                              "//rest/a/v1/items", "/x/rest/a/v1/items", "/", " /rest/a/v1/items"})
        EXPECT_EQ(Match(ITEMS, other), "") << other;
}

TEST(UrlMatch, OfAnExactPatternIsThePathWithOneSlashAtItsEnd) {
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items/"), "items");
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items//"), "");
}

TEST(UrlMatch, OfAnExactPatternThatEndsInASlashIsThePathWithAndWithoutIt) {
    EXPECT_TRUE(Matches("/x/", "/x"));
    EXPECT_TRUE(Matches("/x/", "/x/"));
    EXPECT_FALSE(Matches("/x/", "/x//"));
    EXPECT_TRUE(Matches("/x//", "/x//"));
    EXPECT_FALSE(Matches("/x//", "/x/"));
}

TEST(UrlMatch, OfASlashAloneIsThatOfAnEmptyPath) {
    EXPECT_TRUE(Matches("/", "/"));
    EXPECT_TRUE(Matches("/", "?x=1"));
    EXPECT_TRUE(Matches("/", "/?x=1"));
    EXPECT_FALSE(Matches("/", "//"));
    EXPECT_FALSE(Matches("//", "/"));
    EXPECT_TRUE(Matches("//", "//"));
    EXPECT_FALSE(Matches("/", "x"));
}

TEST(UrlMatch, LooksAtNothingFromTheFirstQuestionMarkOn) {
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items?x=1"), "items");
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items/?x=1"), "items");
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items?"), "items");
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items?x=?/*/"), "items");
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1?/items"), "");
    EXPECT_FALSE(Matches("/x?y", "/x?y"));
    EXPECT_FALSE(Matches("/x?*", "/x?y"));
    EXPECT_TRUE(Matches("/x*", "/x?y"));
    EXPECT_FALSE(Matches("/x/*", "/x?/"));
}

TEST(UrlMatch, OfAWildcardIsEveryPathThatBeginsWithWhatStandsBeforeIt) {
    const Services services{{"/rest/a/v1/items/*", "items"}};
    EXPECT_EQ(Match(services, "/rest/a/v1/items/7"), "items");
    EXPECT_EQ(Match(services, "/rest/a/v1/items/7/8"), "items");
    EXPECT_EQ(Match(services, "/rest/a/v1/items/"), "items");
    EXPECT_EQ(Match(services, "/rest/a/v1/items/*"), "items");
    EXPECT_EQ(Match(services, "/rest/a/v1/items"), "");
    EXPECT_EQ(Match(services, "/rest/a/v1/items?x=/"), "");
    EXPECT_EQ(Match(services, "/rest/a/v1/"), "");
    EXPECT_EQ(Match(services, "/"), "");
}

TEST(UrlMatch, IgnoresWhatFollowsTheFirstWildcard) {
    EXPECT_TRUE(Matches("/rest/a/v1/*/detail", "/rest/a/v1/anything"));
    EXPECT_TRUE(Matches("/rest/a/v1/*/detail", "/rest/a/v1/"));
    EXPECT_TRUE(Matches("/a**", "/a"));
    EXPECT_TRUE(Matches("/a*b*c", "/az"));
    EXPECT_TRUE(Matches("/a*/", "/a"));
}

TEST(UrlMatch, OfALeadingWildcardIsEveryPath) {
    for (const char* url : {"/", "x", "/rest/a", "?x=1", "//", "*", "\xff"}) {
        EXPECT_TRUE(Matches("*", url)) << url;
        EXPECT_TRUE(Matches("*/rest", url)) << url;
    }
}

TEST(UrlMatch, IsByteForByte) {
    EXPECT_FALSE(Matches("/rest", "/Rest"));
    EXPECT_FALSE(Matches("/rest/*", "/REST/x"));
    EXPECT_FALSE(Matches("/a b", "/a%20b"));
    EXPECT_FALSE(Matches("/a%2fb", "/a%2Fb"));
    EXPECT_TRUE(Matches("/a%2fb", "/a%2fb"));
    EXPECT_TRUE(Matches("/\xff\xfe", "/\xff\xfe/"));
    EXPECT_FALSE(Matches("/a", "http://host/a"));
    EXPECT_FALSE(Matches("/a.c", "/abc"));
    EXPECT_FALSE(Matches("/a\\", "/a"));
}

TEST(UrlMatch, DoesNotEndAtANul) {
    EXPECT_TRUE(Matches("/a\0b"s, "/a\0b/"s));
    EXPECT_FALSE(Matches("/a\0b"s, "/a\0c"s));
    EXPECT_FALSE(Matches("/a", "/a\0"s));
    EXPECT_TRUE(Matches("/a\0*"s, "/a\0c"s));
    EXPECT_FALSE(Matches("/a\0*"s, "/a"));
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
    EXPECT_EQ(Match(ITEMS, "/rest/a/v1/items", true), "ServiceIdentityAccessService");
    EXPECT_EQ(Match(ITEMS, "/elsewhere", true), "ServiceIdentityAccessService");
    EXPECT_EQ(Match(ITEMS, "", true), "ServiceIdentityAccessService");
    EXPECT_EQ(Match({}, "/rest", true), "ServiceIdentityAccessService");
    EXPECT_EQ(Match({}, "", true), "ServiceIdentityAccessService");
}

TEST(UrlMatch, OfAMegabyteOfSlashesLosesOneToo) {
    const std::string slashes(std::size_t{1} << 20, '/');
    EXPECT_TRUE(Matches(slashes, slashes));
    EXPECT_FALSE(Matches(slashes, slashes + "/"));
    EXPECT_TRUE(Matches("//*", slashes));
}
