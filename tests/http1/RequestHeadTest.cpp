// SPDX-License-Identifier: Apache-2.0
// Tables of request heads: what a host says in; bytes, or the error, out.
#include "http1/RequestHead.h"

#include <cctype>
#include <cstdio>

#include <gtest/gtest.h>

#include "http1/GrammarError.h"

namespace httpclient::http1 {
namespace {

using E = GrammarError;
using namespace std::string_literals;

/// A request that may go out; rows change what they are about.
struct Asked {
    Method method = Method::Get;
    std::string target = "/";
    std::string host = "h";
    std::vector<Field> fields;
    std::vector<Field> added;
    std::string contentType;
    std::string userAgent;
    bool acceptCodings = false;
    bool acceptAll = false;
    BodyFraming framing;
};

std::error_code Write(const Asked& asked, std::string& out) {
    RequestHead head;
    head.method = asked.method;
    head.target = asked.target;
    head.host = asked.host;
    head.fields = &asked.fields;
    head.added = &asked.added;
    head.contentType = asked.contentType;
    head.userAgent = asked.userAgent;
    head.acceptCodings = asked.acceptCodings;
    head.acceptAll = asked.acceptAll;
    head.framing = asked.framing;
    return WriteRequestHead(head, out);
}

std::string Written(const Asked& asked) {
    std::string out = "what was here before";
    const std::error_code error = Write(asked, out);
    return error ? error.message() : out;
}

std::error_code Refusal(const Asked& asked) {
    std::string out;
    return Write(asked, out);
}

Asked WithMethod(Method method, BodyFraming framing = {}) {
    Asked asked;
    asked.method = method;
    asked.framing = framing;
    return asked;
}

Asked WithTarget(std::string target) {
    Asked asked;
    asked.target = std::move(target);
    return asked;
}

Asked WithField(std::string name, std::string value) {
    Asked asked;
    asked.fields = {{std::move(name), std::move(value)}};
    return asked;
}

/// Everything that the library writes by itself.
Asked WithDefaults(std::vector<Field> fields) {
    Asked asked;
    asked.method = Method::Post;
    asked.contentType = "text/plain";
    asked.userAgent = "libhttpclient";
    asked.acceptCodings = true;
    asked.framing = {BodyFraming::Kind::Length, 5};
    asked.fields = std::move(fields);
    return asked;
}

constexpr BodyFraming LENGTH_5 = {BodyFraming::Kind::Length, 5};
constexpr BodyFraming IN_CHUNKS = {BodyFraming::Kind::Chunked, 0};
constexpr BodyFraming LONGEST = {BodyFraming::Kind::Length, UINT64_MAX};

const std::string HOST = " / HTTP/1.1\r\nHost: h\r\n";

} // namespace

// RFC 9112, 3 and 6.3
TEST(RequestHead, SaysMethodAndFramingAsTheyAre) {
    const std::vector<std::pair<Asked, std::string>> rows = {
        {WithMethod(Method::Get), "GET" + HOST + "\r\n"},
        {WithMethod(Method::Head), "HEAD" + HOST + "\r\n"},
        {WithMethod(Method::Delete), "DELETE" + HOST + "\r\n"},
        {WithMethod(Method::Options), "OPTIONS" + HOST + "\r\n"},
        // RFC 9110, 8.6: a method that is about a body says that there is none.
        {WithMethod(Method::Post), "POST" + HOST + "Content-Length: 0\r\n\r\n"},
        {WithMethod(Method::Put), "PUT" + HOST + "Content-Length: 0\r\n\r\n"},
        {WithMethod(Method::Patch), "PATCH" + HOST + "Content-Length: 0\r\n\r\n"},
        {WithMethod(Method::Post, LENGTH_5), "POST" + HOST + "Content-Length: 5\r\n\r\n"},
        {WithMethod(Method::Put, LONGEST), "PUT" + HOST + "Content-Length: 18446744073709551615\r\n\r\n"},
        {WithMethod(Method::Patch, IN_CHUNKS), "PATCH" + HOST + "Transfer-Encoding: chunked\r\n\r\n"},
        {WithMethod(Method::Delete, LENGTH_5), "DELETE" + HOST + "Content-Length: 5\r\n\r\n"},
        {WithMethod(Method::Options, IN_CHUNKS), "OPTIONS" + HOST + "Transfer-Encoding: chunked\r\n\r\n"},
    };
    for (const auto& [asked, bytes] : rows) {
        EXPECT_EQ(Written(asked), bytes);
    }
}

TEST(RequestHead, OfGetAndHeadHasNoBody) {
    for (const Method method : {Method::Get, Method::Head}) {
        EXPECT_EQ(Refusal(WithMethod(method, LENGTH_5)), E::BodyNotAllowed);
        EXPECT_EQ(Refusal(WithMethod(method, IN_CHUNKS)), E::BodyNotAllowed);
    }
}

TEST(RequestHead, RefusesAMethodItDoesNotKnow) {
    EXPECT_EQ(Refusal(WithMethod(static_cast<Method>(7))), E::BadMethod);
    EXPECT_EQ(Refusal(WithMethod(static_cast<Method>(-1))), E::BadMethod);
}

TEST(RequestHead, KeepsToItsOrder) {
    Asked asked = WithDefaults({{"B", "2"}, {"A", "1"}, {"B", "3"}});
    asked.added = {{"Z", "9"}, {"Y", "8"}};
    EXPECT_EQ(Written(asked), "POST / HTTP/1.1\r\nHost: h\r\nUser-Agent: libhttpclient\r\n"
                              "Accept-Encoding: gzip, deflate\r\nContent-Type: text/plain\r\n"
                              "B: 2\r\nA: 1\r\nB: 3\r\nZ: 9\r\nY: 8\r\nContent-Length: 5\r\n\r\n");
}

TEST(RequestHead, TakesFieldsThatAreNotThere) {
    RequestHead head;
    head.target = "/";
    head.host = "h";
    std::string out;
    EXPECT_FALSE(WriteRequestHead(head, out));
    EXPECT_EQ(out, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
}

TEST(RequestHead, HasAFieldOfTheHostsInsteadOfADefault) {
    const std::string agent = "User-Agent: libhttpclient\r\n";
    const std::string codings = "Accept-Encoding: gzip, deflate\r\n";
    const std::string type = "Content-Type: text/plain\r\n";
    const std::string begin = "POST / HTTP/1.1\r\nHost: h\r\n";
    const std::string end = "Content-Length: 5\r\n\r\n";
    const std::vector<std::pair<std::vector<Field>, std::string>> rows = {
        {{{"User-Agent", "me"}}, codings + type + "User-Agent: me\r\n"},
        {{{"uSER-aGENT", "me"}}, codings + type + "uSER-aGENT: me\r\n"},
        {{{"accept-encoding", "br"}}, agent + type + "accept-encoding: br\r\n"},
        {{{"CONTENT-TYPE", "a/b"}}, agent + codings + "CONTENT-TYPE: a/b\r\n"},
        {{{"User-Agent", ""}}, codings + type + "User-Agent:\r\n"},
        {{{"User-Agents", "x"}}, agent + codings + type + "User-Agents: x\r\n"},
        {{{"Content-Typ", "x"}}, agent + codings + type + "Content-Typ: x\r\n"},
        {{{"User_Agent", "x"}}, agent + codings + type + "User_Agent: x\r\n"},
        {{{"User-Agent", "a"}, {"user-agent", "b"}}, codings + type + "User-Agent: a\r\nuser-agent: b\r\n"},
    };
    for (const auto& [fields, lines] : rows) {
        EXPECT_EQ(Written(WithDefaults(fields)), begin + lines + end);
    }
}

TEST(RequestHead, SaysThatItAcceptsAllUnlessTheHostSaysWhat) {
    Asked asked = WithDefaults({{"A", "1"}});
    asked.acceptAll = true;
    const std::string begin = "POST / HTTP/1.1\r\nHost: h\r\nUser-Agent: libhttpclient\r\n"
                              "Accept-Encoding: gzip, deflate\r\nContent-Type: text/plain\r\n";
    const std::string end = "Content-Length: 5\r\n\r\n";
    EXPECT_EQ(Written(asked), begin + "Accept: */*\r\nA: 1\r\n" + end);
    asked.fields = {{"aCCEPT", "a/b"}};
    EXPECT_EQ(Written(asked), begin + "aCCEPT: a/b\r\n" + end);
    asked.fields = {};
    asked.added = {{"Accept", "a/b"}};
    EXPECT_EQ(Written(asked), begin + "Accept: a/b\r\n" + end);
    asked.added = {{"Accepts", "x"}};
    EXPECT_EQ(Written(asked), begin + "Accept: */*\r\nAccepts: x\r\n" + end);
}

TEST(RequestHead, LeavesRoomForALineThatTheCallerKeeps) {
    const std::vector<Field> fields = {{"A", "1"}, {"X-Kept", "of the host's"}, {"x-kept", ""}};
    const std::vector<Field> added = {{"Z", "9"}, {"x-KEPT", "of an observer's"}};
    RequestHead head;
    head.method = Method::Post;
    head.target = "/";
    head.host = "h";
    head.fields = &fields;
    head.added = &added;
    head.framing = LENGTH_5;
    head.keptLine = "x-kept";
    std::string out;
    std::size_t lineAt = 0;
    ASSERT_FALSE(WriteRequestHead(head, out, lineAt));
    EXPECT_EQ(out.substr(0, lineAt), "POST / HTTP/1.1\r\nHost: h\r\nA: 1\r\nZ: 9\r\n");
    EXPECT_EQ(out.substr(lineAt), "Content-Length: 5\r\n\r\n");
}

// RFC 9112, 3.2.1; RFC 3986, 3.3 and 3.4
TEST(RequestHead, TakesATargetThatIsAPathInUrlForm) {
    std::string visible = "/";
    for (char byte = '!'; byte <= '~'; ++byte) {
        visible += byte == '#' ? '/' : byte;
    }
    for (const std::string& target : {"/"s, "/a/b"s, "/a?b=c&d"s, "//a"s, "/?"s, "/a?b?c/d"s, "/%20%C3%A4"s,
                                      "/a:b@c"s, "/a;b,c=d"s, "/../a"s, "/a%"s, visible}) {
        EXPECT_EQ(Written(WithTarget(target)), "GET " + target + " HTTP/1.1\r\nHost: h\r\n\r\n");
    }
}

TEST(RequestHead, RefusesAnotherTarget) {
    for (const std::string& target : {""s,
                                      "a"s,
                                      "*"s,
                                      "?a"s,
                                      "a/b"s,
                                      "h:80"s,
                                      "http://h/"s,
                                      " /"s,
                                      "/ "s,
                                      "/a b"s,
                                      "/a\tb"s,
                                      "/a#b"s,
                                      "/#"s,
                                      "/a\r\nX: y"s,
                                      "/a\rb"s,
                                      "/a\nb"s,
                                      "/a\0b"s,
                                      "/a\x01"s,
                                      "/a\x1F"s,
                                      "/a\x7F"s,
                                      "/\xC3\xA4"s,
                                      "/\xFF"s,
                                      "/ HTTP/1.1\r\nHost: evil\r\n\r\n"s}) {
        EXPECT_EQ(Refusal(WithTarget(target)), E::BadTarget) << target;
    }
}

// RFC 9110, 5.1 and 5.6.2
TEST(RequestHead, TakesTokensAsNamesAlone) {
    EXPECT_EQ(Written(WithField("!#$%&'*+-.^_`|~09azAZ", "v")),
              "GET / HTTP/1.1\r\nHost: h\r\n!#$%&'*+-.^_`|~09azAZ: v\r\n\r\n");
    for (int code = 0; code < 256; ++code) {
        const auto byte = static_cast<char>(code);
        const bool token =
            code < 0x80 && (std::isalnum(code) != 0 || "!#$%&'*+-.^_`|~"s.find(byte) != std::string::npos);
        const std::string name = "a"s + byte + "b";
        EXPECT_EQ(Refusal(WithField(name, "v")), token ? std::error_code() : E::BadFieldName) << code;
    }
    for (const std::string& name : {""s, " "s, "A "s, " A"s, "A:"s, ":A"s, "A\r\nB"s, "A\0"s}) {
        EXPECT_EQ(Refusal(WithField(name, "v")), E::BadFieldName) << name;
    }
}

// RFC 9110, 5.5
TEST(RequestHead, TakesValuesWithoutControlCharacters) {
    for (int code = 0; code < 256; ++code) {
        const auto byte = static_cast<char>(code);
        const bool allowed = code == '\t' || (code >= 0x20 && code != 0x7F);
        EXPECT_EQ(Refusal(WithField("A", "a"s + byte + "b")), allowed ? std::error_code() : E::BadFieldValue)
            << code;
    }
    EXPECT_EQ(Written(WithField("A", "b\tc \xC3\xA4\xFF")), "GET" + HOST + "A: b\tc \xC3\xA4\xFF\r\n\r\n");
    EXPECT_EQ(Written(WithField("A", "")), "GET" + HOST + "A:\r\n\r\n");
    for (const std::string& value : {" a"s, "a "s, "\ta"s, "a\t"s, " "s, "\r\n"s, "a\r\nB: c"s, "a\nB: c"s,
                                     "a\r\n b"s, "a\rb"s, "\0"s}) {
        EXPECT_EQ(Refusal(WithField("A", value)), E::BadFieldValue) << value;
    }
}

TEST(RequestHead, ChecksEveryFieldAndNotTheFirstAlone) {
    Asked asked;
    asked.fields = {{"A", "b"}, {"C", "d"}, {"E", "f\n"}};
    EXPECT_EQ(Refusal(asked), E::BadFieldValue);
    asked.fields = {{"A", "b"}, {"C", "d"}, {"E ", "f"}};
    EXPECT_EQ(Refusal(asked), E::BadFieldName);
    asked.fields = {{"A", "b"}, {"C", "d"}, {"Host", "f"}};
    EXPECT_EQ(Refusal(asked), E::ForbiddenField);
}

TEST(RequestHead, RefusesFieldsThatFrameOrRoute) {
    for (const std::string& name :
         {"Content-Length"s, "Transfer-Encoding"s, "Host"s, "Expect"s, "TE"s, "Trailer"s, "Upgrade"s,
          "Keep-Alive"s, "Connection"s, "content-length"s, "TRANSFER-ENCODING"s, "hOST"s, "eXPECT"s, "te"s,
          "trailer"s, "UPGRADE"s, "keep-alive"s, "CONNECTION"s}) {
        EXPECT_EQ(Refusal(WithField(name, "1")), E::ForbiddenField) << name;
        EXPECT_EQ(Refusal(WithField(name, "")), E::ForbiddenField) << name;
    }
    for (const std::string& name :
         {"Content-Lengths"s, "Hos"s, "Hosts"s, "TEs"s, "T"s, "Content-Encoding"s, "Accept"s,
          "Content_Length"s, "X-Host"s, "Trailers"s, "Authorization"s, "Cookie"s}) {
        EXPECT_EQ(Refusal(WithField(name, "1")), std::error_code()) << name;
    }
}

TEST(RequestHead, TakesConnectionCloseAlone) {
    for (const std::string& value : {"close"s, "Close"s, "CLOSE"s}) {
        EXPECT_EQ(Written(WithField("connection", value)),
                  "GET" + HOST + "connection: " + value + "\r\n\r\n");
    }
    for (const std::string& value :
         {"keep-alive"s, "close, keep-alive"s, "close,"s, "closed"s, "upgrade"s, "x-a"s}) {
        EXPECT_EQ(Refusal(WithField("Connection", value)), E::ForbiddenField) << value;
    }
}

TEST(RequestHead, ChecksWhatIsAddedLikeTheHostsOwn) {
    const std::vector<std::pair<Field, E>> rows = {
        {{"A b", "c"}, E::BadFieldName},
        {{"", "c"}, E::BadFieldName},
        {{"A", "b\r\nC: d"}, E::BadFieldValue},
        {{"Content-Length", "1"}, E::ForbiddenField},
    };
    for (const auto& [field, error] : rows) {
        Asked asked;
        asked.added = {{"Ok", "1"}, field};
        EXPECT_EQ(Refusal(asked), error) << field.first;
    }
    Asked asked = WithDefaults({});
    asked.added = {{"user-agent", "other"}};
    EXPECT_EQ(Written(asked).find("libhttpclient"), std::string::npos);
}

TEST(RequestHead, ChecksHostAgentAndType) {
    for (const std::string& bad : {"a\r\nB: c"s, "a\nb"s, "a\0b"s, "a\x7F"s}) {
        Asked asked;
        asked.host = bad;
        EXPECT_EQ(Refusal(asked), E::BadFieldValue);
        asked = {};
        asked.userAgent = bad;
        EXPECT_EQ(Refusal(asked), E::BadFieldValue);
        asked = {};
        asked.contentType = bad;
        EXPECT_EQ(Refusal(asked), E::BadFieldValue);
    }
    for (const std::string& bad : {"a b"s, " a"s, "a\t"s, "\xC3\xA4"s, "a#b"s}) {
        Asked asked;
        asked.host = bad;
        EXPECT_EQ(Refusal(asked), E::BadFieldValue) << bad;
    }
    for (const std::string& good : {"shop.example:8443"s, "[::1]:80"s, "127.0.0.1"s}) {
        Asked asked;
        asked.host = good;
        EXPECT_EQ(Written(asked), "GET / HTTP/1.1\r\nHost: " + good + "\r\n\r\n");
    }
}

TEST(RequestHead, IsWrittenOverWhatTheBufferHeld) {
    std::string out(5000, 'x');
    EXPECT_FALSE(Write(WithTarget("/long/target"), out));
    EXPECT_EQ(out, "GET /long/target HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_FALSE(Write({}, out));
    EXPECT_EQ(out, "GET / HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_FALSE(Write(WithTarget("/" + std::string(9000, 'a')), out));
    EXPECT_EQ(out, "GET /" + std::string(9000, 'a') + " HTTP/1.1\r\nHost: h\r\n\r\n");
}

TEST(AsksToClose, SeesTheFieldInAnyLetters) {
    EXPECT_TRUE(AsksToClose({{"A", "b"}, {"Connection", "close"}}));
    EXPECT_TRUE(AsksToClose({{"cOnnection", "Close"}}));
    EXPECT_FALSE(AsksToClose({}));
    EXPECT_FALSE(AsksToClose({{"Connection", "keep-alive"}, {"X", "close"}, {"Connections", "close"}}));
}

// RFC 3986, 2.1 and 2.3
TEST(AppendParameter, EncodesAllButUnreservedCharacters) {
    std::string plain;
    std::string encoded;
    for (int code = 0; code < 256; ++code) {
        const auto byte = static_cast<char>(code);
        plain += byte;
        if (code < 0x80 && (std::isalnum(code) != 0 || "-._~"s.find(byte) != std::string::npos)) {
            encoded += byte;
        } else {
            char text[4];
            std::snprintf(text, sizeof text, "%%%02X", static_cast<unsigned>(code));
            encoded += text;
        }
    }
    std::string target = "/";
    AppendParameter(target, plain, plain);
    EXPECT_EQ(target, "/?" + encoded + "=" + encoded);
    EXPECT_FALSE(Refusal(WithTarget(target)));
}

TEST(AppendParameter, BeginsOrGoesOnWithTheQuery) {
    std::string target = "/a";
    AppendParameter(target, "b", "c d");
    AppendParameter(target, "b", "");
    AppendParameter(target, "", "e&f=g");
    EXPECT_EQ(target, "/a?b=c%20d&b=&=e%26f%3Dg");
    target = "/a?h=i";
    AppendParameter(target, "\xC3\xA4", "/?#");
    EXPECT_EQ(target, "/a?h=i&%C3%A4=%2F%3F%23");
}

TEST(AppendParameter, WritesNoEmptyParameterIntoAQueryThatIsOpen) {
    std::string target = "/a?";
    AppendParameter(target, "b", "c");
    EXPECT_EQ(target, "/a?b=c");
    target = "/a?b=c&";
    AppendParameter(target, "d", "e");
    EXPECT_EQ(target, "/a?b=c&d=e");
}

TEST(Methods, HaveTheirNames) {
    const std::vector<std::string> names = {"GET", "HEAD", "POST", "PUT", "PATCH", "DELETE", "OPTIONS"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(NameOf(static_cast<Method>(i)), names[i]);
    }
    EXPECT_STREQ(NameOf(static_cast<Method>(names.size())), "");
}

// RFC 9110, 9.2.2
TEST(Methods, AreIdempotentButForPostAndPatch) {
    for (const Method method : {Method::Get, Method::Head, Method::Put, Method::Delete, Method::Options}) {
        EXPECT_TRUE(IsIdempotent(method)) << NameOf(method);
    }
    EXPECT_FALSE(IsIdempotent(Method::Post));
    EXPECT_FALSE(IsIdempotent(Method::Patch));
}

} // namespace httpclient::http1
