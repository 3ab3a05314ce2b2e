// SPDX-License-Identifier: Apache-2.0
#include "send/Options.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "send/RequestMaker.h"
#include "tests/Parsed.h"

using examples::Parse;
using examples::URL;
using examples::WhyRefused;
using sender::Options;
using sender::UsageError;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

namespace {

/// A file that goes when the test does.
class File {
public:
    explicit File(const std::string& text) {
        std::string pattern = std::filesystem::temp_directory_path() / "httpclient-send-XXXXXX";
        close(mkstemp(pattern.data()));
        m_name = pattern;
        std::ofstream(m_name, std::ios::binary) << text;
    }
    ~File() { std::filesystem::remove(m_name); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    const char* Name() const { return m_name.c_str(); }

private:
    std::string m_name;
};

} // namespace

TEST(SendOptions, AreAPlainGetWhenOnlyTheUrlIsGiven) {
    const Options options = Parse({URL});
    EXPECT_EQ(options.verb, HTTPOPERATION_GET);
    EXPECT_TRUE(options.headers.empty());
    EXPECT_TRUE(options.parameters.empty());
    EXPECT_EQ(options.connectTimeout, 10U);
    EXPECT_EQ(options.requestTimeout, 30U);
    EXPECT_EQ(options.repeat, 1U);
    EXPECT_EQ(options.threads, 1U);
}

TEST(SendOptions, AreAPostWhenThereIsABody) {
    EXPECT_EQ(Parse({URL, "-d", "x"}).verb, HTTPOPERATION_POST);
    EXPECT_EQ(Parse({"-X", "put", "-d", "x", URL}).verb, HTTPOPERATION_PUT);
}

TEST(SendOptions, NameEveryVerbInAnyCase) {
    EXPECT_EQ(Parse({"-X", "GET", URL}).verb, HTTPOPERATION_GET);
    EXPECT_EQ(Parse({"-X", "Post", URL}).verb, HTTPOPERATION_POST);
    EXPECT_EQ(Parse({"-X", "delete", URL}).verb, HTTPOPERATION_DELETE);
    EXPECT_EQ(Parse({"-X", "HEAD", URL}).verb, HTTPOPERATION_HEAD);
    EXPECT_THAT(WhyRefused({"-X", "PATCH", URL}), HasSubstr("\"PATCH\" cannot be sent"));
}

TEST(SendOptions, TakeHeadersFromLineAndFile) {
    const File file("B: 2\r\n\nC:3\n");
    const Options options = Parse({"-H", "A:  1 ", URL, "--header-file", file.Name(), "-H", "Accept:"});
    EXPECT_THAT(options.headers,
                ElementsAre(Pair("A", "1 "), Pair("Accept", ""), Pair("B", "2"), Pair("C", "3")));
}

TEST(SendOptions, RefuseHeadersThatCannotBeSentAndShowNoValue) {
    EXPECT_THAT(WhyRefused({URL, "-H", "no colon"}), HasSubstr("Name: value"));
    EXPECT_THAT(WhyRefused({URL, "-H", ": value"}), HasSubstr("Name: value"));
    EXPECT_THAT(WhyRefused({URL, "-H", "A: secret\r\nB: 2"}), HasSubstr("\"A\" holds a line break"));
    EXPECT_THAT(WhyRefused({URL, "-H", "A: secret\r\nB: 2"}), Not(HasSubstr("secret")));
    EXPECT_THAT(WhyRefused({URL, "-H", "A: secret", "-H", "A: 2"}), HasSubstr("given twice"));
    EXPECT_THAT(WhyRefused({URL, "-H", "A: secret", "-H", "A: 2"}), Not(HasSubstr("secret")));
    EXPECT_THAT(WhyRefused({URL, "-H", "Accept-Charset: GBK", "--charset", "UTF-8"}),
                HasSubstr("given twice"));
}

TEST(SendOptions, GiveAParameterNamedTwiceTwoValues) {
    const Options options = Parse({URL, "-p", "b=1", "-p", "a=", "-p", "b=2=2"});
    EXPECT_THAT(options.parameters,
                ElementsAre(Pair("a", ElementsAre("")), Pair("b", ElementsAre("1", "2=2"))));
}

TEST(SendOptions, RefuseWhatTheLibraryWouldLeaveOut) {
    EXPECT_THAT(WhyRefused({URL, "-p", "novalue"}), HasSubstr("name=value"));
    EXPECT_THAT(WhyRefused({URL, "-p", " =1"}), HasSubstr("name=value"));
    EXPECT_THAT(WhyRefused({URL, "-X", "GET", "-d", "x"}), HasSubstr("no body"));
    EXPECT_THAT(WhyRefused({URL, "-X", "DELETE", "-d", "x"}), HasSubstr("no body"));
    EXPECT_THAT(WhyRefused({URL, "-X", "HEAD", "-d", "x"}), HasSubstr("no body"));
    EXPECT_THAT(WhyRefused({URL, "-X", "HEAD", "-p", "a=1"}), HasSubstr("no parameters"));
    EXPECT_THAT(WhyRefused({URL, "-d", "x", "-p", "a=1"}), HasSubstr("takes the place"));
    EXPECT_THAT(WhyRefused({"http://h/?a=1", "-p", "b=1"}), HasSubstr("query already"));
    EXPECT_EQ(WhyRefused({"http://h/?a=1", "-X", "POST", "-p", "b=1"}), "accepted");
    const File nul(std::string("ab\0c", 4));
    EXPECT_THAT(WhyRefused({URL, "-f", nul.Name()}), HasSubstr("NUL byte at offset 2"));
}

TEST(SendOptions, ReadBodyAndCookieFromFiles) {
    const File body("line 1\nline 2\n");
    const File cookie("session=42\n");
    const Options options = Parse({URL, "-f", body.Name(), "--cookie-file", cookie.Name()});
    EXPECT_EQ(options.verb, HTTPOPERATION_POST);
    EXPECT_EQ(options.body, "line 1\nline 2\n");
    EXPECT_EQ(options.cookie, "session=42");
}

TEST(SendOptions, TakeAnEmptyFileAsAnEmptyBody) {
    const File empty("");
    const Options options = Parse({URL, "-f", empty.Name()});
    EXPECT_EQ(options.verb, HTTPOPERATION_POST);
    EXPECT_EQ(options.body, "");
}

TEST(SendOptions, SayWhichFileCannotBeRead) {
    EXPECT_THAT(WhyRefused({URL, "-f", "/nowhere/at/all"}), HasSubstr("cannot read \"/nowhere/at/all\""));
    EXPECT_THAT(WhyRefused({URL, "-f", "/"}), HasSubstr("cannot read \"/\""));
}

TEST(SendOptions, KeepThreadsWithinTheRepeats) {
    EXPECT_EQ(Parse({URL, "-n", "3", "-t", "8"}).threads, 3U);
    EXPECT_EQ(Parse({URL, "-n", "8", "-t", "3"}).threads, 3U);
    EXPECT_THAT(WhyRefused({URL, "-n", "0"}), HasSubstr("--repeat"));
    EXPECT_THAT(WhyRefused({URL, "-n", "2", "-o", "x"}), HasSubstr("excludes"));
}

TEST(SendOptions, BecomeARequest) {
    const auto request =
        sender::MakeRequest(Parse({"http://h/a", "-X", "PUT", "-d", "body", "-H", "A: 1", "-b", "c=1",
                                   "--charset", "UTF-8", "--accept-encoding", "gzip"}));
    EXPECT_EQ(request->getVerb(), HTTPOPERATION_PUT);
    EXPECT_EQ(request->getUrlPath(), "/a");
    EXPECT_EQ(request->getContent(), "body");
    EXPECT_EQ(request->getCustomCookieParam(), "c=1");
    EXPECT_EQ(request->getAcceptCharset(), "UTF-8");
    EXPECT_EQ(request->getAcceptEncoding(), "gzip");
    EXPECT_EQ(request->getRequestHeadEntry("A"), "1");
    EXPECT_EQ(request->getRequestHeadEntryNums(), 3U);
}

TEST(SendOptions, RefuseWhatAnAsynchronousSendWouldLeaveOut) {
    EXPECT_EQ(WhyRefused({URL, "--async", "-X", "POST", "-p", "a=1", "-H", "A: 1"}), "accepted");
    EXPECT_THAT(WhyRefused({URL, "-a", "-d", "x"}), HasSubstr("no body"));
    EXPECT_THAT(WhyRefused({URL, "-a", "-b", "c=1"}), HasSubstr("no cookie"));
    EXPECT_THAT(WhyRefused({URL, "-a", "-X", "HEAD"}), HasSubstr("go out as GET"));
    EXPECT_THAT(WhyRefused({URL, "-a", "--accept-encoding", "gzip"}), HasSubstr("not decoded"));
}

TEST(SendOptions, SendAsynchronouslyOverTlsOnlyWhenToldTwice) {
    EXPECT_THAT(WhyRefused({"https://h/", "-a"}), HasSubstr("verifies no server"));
    EXPECT_EQ(WhyRefused({"https://h/", "-a", "--insecure"}), "accepted");
    EXPECT_THAT(WhyRefused({"https://h/", "--insecure"}), HasSubstr("--async"));
}

TEST(SendOptions, LimitTheRequestsUnderWay) {
    EXPECT_EQ(Parse({URL, "-a", "-n", "100", "-t", "64"}).threads, 64U);
    EXPECT_THAT(WhyRefused({URL, "-a", "-n", "100", "-t", "65"}), HasSubstr("at most 64"));
    EXPECT_EQ(Parse({URL, "-n", "100", "-t", "65"}).threads, 65U);
}
