// SPDX-License-Identifier: Apache-2.0
#include "send/Url.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "send/Errors.h"

using sender::ParseUrl;
using sender::Target;
using sender::UsageError;
using testing::HasSubstr;

namespace {

std::string WhyUrlRefused(const std::string& url) {
    try {
        ParseUrl(url);
    } catch (const UsageError& problem) {
        return problem.what();
    }
    return "accepted";
}

} // namespace

TEST(Url, TakesSchemeHostPortAndPathApart) {
    const Target target = ParseUrl("http://example.test:8080/a/b?c=d&e");
    EXPECT_EQ(target.scheme, "http");
    EXPECT_EQ(target.host, "example.test");
    EXPECT_EQ(target.port, 8080);
    EXPECT_EQ(target.path, "/a/b?c=d&e");
    EXPECT_FALSE(target.Tls());
    EXPECT_TRUE(target.HasQuery());
}

TEST(Url, HasTheDefaultPortOfItsScheme) {
    EXPECT_EQ(ParseUrl("http://h/").port, 80);
    EXPECT_EQ(ParseUrl("https://h/").port, 443);
    EXPECT_TRUE(ParseUrl("https://h/").Tls());
}

TEST(Url, HasAPathInAnyCase) {
    EXPECT_EQ(ParseUrl("http://h").path, "/");
    EXPECT_EQ(ParseUrl("http://h?a=b").path, "/?a=b");
    EXPECT_FALSE(ParseUrl("http://h").HasQuery());
}

TEST(Url, LeavesThePathAsItIsWritten) {
    EXPECT_EQ(ParseUrl("http://h/a/../b/./%7e%2F//").path, "/a/../b/./%7e%2F//");
}

TEST(Url, KeepsIpv6InBrackets) {
    EXPECT_EQ(ParseUrl("http://[::1]:81/").host, "[::1]");
    EXPECT_EQ(ParseUrl("http://[::1]:81/").port, 81);
    EXPECT_EQ(ParseUrl("http://[fe80::1%25eth0]/").host, "[fe80::1%25eth0]");
}

TEST(Url, TakesPortsFrom1To65535) {
    EXPECT_THAT(WhyUrlRefused("http://h:0/"), HasSubstr("port 0"));
    EXPECT_EQ(ParseUrl("http://h:1/").port, 1);
    EXPECT_EQ(ParseUrl("http://h:65535/").port, 65535);
    EXPECT_THAT(WhyUrlRefused("http://h:65536/"), HasSubstr("Port number"));
}

TEST(Url, SaysWhyItCannotBeSent) {
    EXPECT_THAT(WhyUrlRefused("ftp://h/"), HasSubstr("\"ftp\" is neither http nor https"));
    EXPECT_THAT(WhyUrlRefused("h:80/"), HasSubstr("http:// or https://"));
    EXPECT_THAT(WhyUrlRefused("example.test/a"), HasSubstr("http:// or https://"));
    EXPECT_THAT(WhyUrlRefused("http:///a"), HasSubstr("no host"));
    EXPECT_THAT(WhyUrlRefused("http://[::1/"), HasSubstr("cannot send to"));
    EXPECT_THAT(WhyUrlRefused("http://h/a b"), HasSubstr("percent-escaped"));
    EXPECT_THAT(WhyUrlRefused("http://h/\xc3\xa9"), HasSubstr("percent-escaped"));
    EXPECT_THAT(WhyUrlRefused("http://h/a\r\nX: y"), HasSubstr("percent-escaped"));
    EXPECT_THAT(WhyUrlRefused("http://me:secret@h/"), HasSubstr("credentials"));
    EXPECT_THAT(WhyUrlRefused("http://h/#top"), HasSubstr("#"));
    EXPECT_THAT(WhyUrlRefused(""), HasSubstr("cannot send to"));
}

TEST(Url, ShowsNoPasswordWhenItIsRefused) {
    EXPECT_THAT(WhyUrlRefused("http://me:secret@h/"), testing::Not(HasSubstr("secret")));
    EXPECT_THAT(WhyUrlRefused("http://me:secret@h/a b"), testing::Not(HasSubstr("secret")));
}
