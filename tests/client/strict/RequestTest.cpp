// SPDX-License-Identifier: Apache-2.0
// What a request becomes under the STRICT profile.
#include <string>
#include <vector>

#include "BothRoads.h"
#include "message/HttpRequestImp.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

class StrictRequestTest : public StrictTest {
protected:
    /// @return the one request that reaches the server; both ways of sending give the same.
    RecordedRequest Sent(const CHttpRequest& request) {
        const std::size_t before = m_server.requests().size();
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(request, response, false), 200) << FailureOf(response);
        EXPECT_EQ(SendAndWait(m_client, request).status, 200);
        const auto requests = m_server.requests();
        EXPECT_EQ(requests.size(), before + 2);
        if (requests.size() != before + 2) {
            return {};
        }
        EXPECT_EQ(requests[before].raw, requests[before + 1].raw) << "the two ways to send differ";
        return requests[before];
    }

    /// @return why it is refused, by both ways of sending; nothing reaches the server.
    std::string Refused(const CHttpRequest& request) {
        const std::size_t before = m_server.requests().size();
        UntouchedResponse response;
        EXPECT_EQ(m_client.synSendRequest(request, response.get(), false), -1);
        response.ExpectUntouched();
        const StrictOutcome outcome = SendAndWait(m_client, request);
        EXPECT_EQ(outcome.status, -1);
        EXPECT_EQ(outcome.failure, FailureOf(response.get()));
        EXPECT_EQ(m_server.requests().size(), before);
        return FailureOf(response.get());
    }

    std::string Bytes(const CHttpRequest& request) {
        return Replaced(Sent(request).raw, m_server.authority(), "<server>");
    }

    LoopbackServer m_server{AnswerAll("answer")};
    StrictClient m_client{m_server};
};

const std::string INVALID = "InvalidRequest in Prepare";

} // namespace

TEST_F(StrictRequestTest, IsWhatTheHostSaysAndTwoDefaults) {
    EXPECT_EQ(Bytes(*MakeRequest(HTTPOPERATION_GET, "/path?query")), "GET /path?query HTTP/1.1\r\n"
                                                                     "Host: <server>\r\n"
                                                                     "User-Agent: libhttpclient\r\n"
                                                                     "Accept: */*\r\n\r\n");
}

TEST_F(StrictRequestTest, HasExactlyTheVerbThatIsSet) {
    const std::vector<std::pair<HTTPOPERATIONTYPE, std::string>> verbs = {
        {HTTPOPERATION_GET, "GET"},   {HTTPOPERATION_PUT, "PUT"},       {HTTPOPERATION_HEAD, "HEAD"},
        {HTTPOPERATION_POST, "POST"}, {HTTPOPERATION_DELETE, "DELETE"}, {HTTPOPERATION_HEAD, "HEAD"},
        {HTTPOPERATION_GET, "GET"}};
    for (const auto& [verb, name] : verbs) {
        EXPECT_EQ(Sent(*MakeRequest(verb)).method, name);
    }
}

TEST_F(StrictRequestTest, WithoutAVerbIsRefused) {
    EXPECT_EQ(Refused(CHttpRequest()), INVALID);
    EXPECT_EQ(Refused(*MakeRequest(static_cast<HTTPOPERATIONTYPE>(0))), INVALID);
}

TEST_F(StrictRequestTest, HasAPathInUrlForm) {
    EXPECT_EQ(Sent(*MakeRequest(HTTPOPERATION_GET, "")).target, "/");
    for (const char* path : {"path", "/a b", "/a#b", "/a\r\nX: y", "http://other/", "*"}) {
        EXPECT_EQ(Refused(*MakeRequest(HTTPOPERATION_GET, path)), INVALID) << path;
    }
}

TEST_F(StrictRequestTest, HasParametersWithEscapedNames) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addParam("a&b=c", "1 2");
    request->addParam("z", std::vector<std::string>{"1", "", "2"});
    request->addParam("empty", std::vector<std::string>{});
    EXPECT_EQ(Sent(*request).target, "/path?a%26b%3Dc=1%202&z=1&z=&z=2");
    request->setUrlPath("/path?first=0");
    EXPECT_EQ(Sent(*request).target, "/path?first=0&a%26b%3Dc=1%202&z=1&z=&z=2");
}

TEST_F(StrictRequestTest, WithOnlyParametersWithoutValuesHasNone) {
    for (const auto verb : {HTTPOPERATION_DELETE, HTTPOPERATION_POST}) {
        const auto request = MakeRequest(verb, "/items");
        request->addParam("kind", std::vector<std::string>{});
        const RecordedRequest sent = Sent(*request);
        EXPECT_EQ(sent.target, "/items");
        EXPECT_EQ(sent.body, "");
        EXPECT_FALSE(sent.Header("Content-Type"));
    }
}

TEST_F(StrictRequestTest, ConvertsParametersOrIsRefused) {
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/path");
    request->addParam("name", "\xd6\xd0"); // GBK
    EXPECT_EQ(Sent(*request).target, "/path?name=%E4%B8%AD");
    request->RemoveAllParams();
    request->addParam("name", "Zo\xc3"); // its last character is incomplete
    EXPECT_EQ(Refused(*request), INVALID);
    request->setAcceptCharset("no such set");
    EXPECT_EQ(Refused(*request), INVALID);
}

TEST_F(StrictRequestTest, OfPostAndPutHasParametersAsItsFormOnlyWhereItHasNoBody) {
    for (const auto verb : {HTTPOPERATION_POST, HTTPOPERATION_PUT}) {
        const auto request = MakeRequest(verb, "/path");
        request->addParam("a", "1");
        request->addParam("b", "2");
        RecordedRequest sent = Sent(*request);
        EXPECT_EQ(sent.target, "/path");
        EXPECT_EQ(sent.body, "a=1&b=2");
        EXPECT_EQ(sent.Header("Content-Type"), "application/x-www-form-urlencoded");
        request->setContent("body");
        request->setContentType("text/plain");
        sent = Sent(*request);
        EXPECT_EQ(sent.target, "/path?a=1&b=2");
        EXPECT_EQ(sent.body, "body");
        EXPECT_EQ(sent.Header("Content-Type"), "text/plain");
        EXPECT_EQ(sent.HeaderCount("Content-Type"), 1U);
    }
}

TEST_F(StrictRequestTest, HasEveryByteOfItsBody) {
    const std::string body("seen\0unseen", 11);
    for (const auto verb : {HTTPOPERATION_POST, HTTPOPERATION_PUT, HTTPOPERATION_DELETE}) {
        const auto request = MakeRequest(verb);
        request->setContent(body);
        const RecordedRequest sent = Sent(*request);
        EXPECT_EQ(sent.body, body);
        EXPECT_EQ(sent.Header("Content-Length"), "11");
        EXPECT_EQ(sent.Header("Content-Type"), "application/x-www-form-urlencoded") << "as ever";
        request->setContentType("");
        EXPECT_FALSE(Sent(*request).Header("Content-Type")) << "an empty entry takes it away";
    }
}

TEST_F(StrictRequestTest, SaysThatABodyIsEmptyWhereOneIsExpected) {
    for (const auto verb : {HTTPOPERATION_POST, HTTPOPERATION_PUT}) {
        EXPECT_EQ(Sent(*MakeRequest(verb)).Header("Content-Length"), "0");
    }
    for (const auto verb : {HTTPOPERATION_GET, HTTPOPERATION_HEAD, HTTPOPERATION_DELETE}) {
        EXPECT_FALSE(Sent(*MakeRequest(verb)).Header("Content-Length"));
    }
}

TEST_F(StrictRequestTest, OfGetAndHeadHasNoBody) {
    for (const auto verb : {HTTPOPERATION_GET, HTTPOPERATION_HEAD}) {
        const auto request = MakeRequest(verb);
        request->setContent("body");
        EXPECT_EQ(Refused(*request), INVALID);
    }
}

TEST_F(StrictRequestTest, HasACookieOnlyWhenThereIsOne) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    EXPECT_FALSE(Sent(*request).Header("Cookie"));
    request->setCustomCookieParam("session=1; theme=dark");
    EXPECT_EQ(Sent(*request).Header("Cookie"), "session=1; theme=dark");
    request->addRequestHeadEntry("cookie", "own=1");
    const RecordedRequest sent = Sent(*request);
    EXPECT_EQ(sent.Header("Cookie"), "own=1");
    EXPECT_EQ(sent.HeaderCount("Cookie"), 1U) << "an entry of the host's replaces it, as ever";
    request->removeRequestHead();
    request->setCustomCookieParam("a=1\r\nX-Admin: yes");
    EXPECT_EQ(Refused(*request), INVALID);
}

TEST_F(StrictRequestTest, HasItsEntriesInTheOrderOfTheirNames) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("X-B", " two ");
    request->addRequestHeadEntry("X-Empty", "");
    request->addRequestHeadEntry("X-Blank", " \t");
    request->addRequestHeadEntry("X-A", "one");
    request->setAccept("mime");
    request->setCustomCookieParam("c=1");
    EXPECT_EQ(Sent(*request).headerLines,
              (Lines{"Host: " + m_server.authority(), "User-Agent: libhttpclient", "Accept: */*",
                     "Cookie: c=1", "Accept_MIME: mime", "X-A: one", "X-B: two"}));
}

TEST_F(StrictRequestTest, ReplacesDefaultsByEntriesAndTakesThemAwayWhereThoseAreEmpty) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("accept", "text/plain");
    request->addRequestHeadEntry("user-agent", "mine");
    EXPECT_EQ(Sent(*request).headerLines,
              (Lines{"Host: " + m_server.authority(), "accept: text/plain", "user-agent: mine"}));
    request->removeRequestHead();
    request->addRequestHeadEntry("Accept", "");
    request->addRequestHeadEntry("User-Agent", "");
    EXPECT_EQ(Sent(*request).headerLines, Lines{"Host: " + m_server.authority()});
}

TEST_F(StrictRequestTest, HasTheFirstValueOfAnEntryAndNoAcceptOfSetAccept_Stays) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("X-Name", "first");
    EXPECT_TRUE(request->addRequestHeadEntry("X-Name", "second"));
    request->setAccept("application/json");
    EXPECT_EQ(Sent(*request).headerLines,
              (Lines{"Host: " + m_server.authority(), "User-Agent: libhttpclient", "Accept: */*",
                     "Accept_MIME: application/json", "X-Name: first"}));
}

TEST_F(StrictRequestTest, KeepsToAHostEntryThatIsAnAuthority) {
    for (const char* host : {"other", "other:8080", "[::1]", "[::1]:1", "10.0.0.1"}) {
        const auto request = MakeRequest(HTTPOPERATION_GET);
        request->addRequestHeadEntry("host", host);
        const RecordedRequest sent = Sent(*request);
        EXPECT_EQ(sent.Header("Host"), host);
        EXPECT_EQ(sent.HeaderCount("Host"), 1U);
    }
    for (const char* host : {"a b", "a/b", "user@a", "a:0", "a:b", "a\r\nX: y", "::1"}) {
        const auto request = MakeRequest(HTTPOPERATION_GET);
        request->addRequestHeadEntry("Host", host);
        EXPECT_EQ(Refused(*request), INVALID) << host;
    }
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("Host", "");
    EXPECT_EQ(Sent(*request).Header("Host"), m_server.authority());
    request->removeRequestHead();
    request->addRequestHeadEntry("HOST", "one");
    request->addRequestHeadEntry("Host", "two");
    EXPECT_EQ(Refused(*request), INVALID) << "one of them at most";
}

TEST_F(StrictRequestTest, WithAnEntryThatBreaksARuleIsRefused) {
    const std::vector<std::pair<std::string, std::string>> wrong = {
        {"X-Name", "value\r\nX-Admin: yes"},
        {"X-Name", "a\nb"},
        {"X-Name", std::string("a\0b", 3)},
        {"X Name", "value"},
        {"X:Name", "value"},
        {"Content-Length", "1"},
        {"Transfer-Encoding", "chunked"},
        {"Expect", "100-continue"},
        {"TE", "trailers"},
        {"Trailer", "X"},
        {"Upgrade", "h2c"},
        {"Keep-Alive", "timeout=1"},
        {"Connection", "keep-alive"},
    };
    for (const auto& [name, value] : wrong) {
        const auto request = MakeRequest(HTTPOPERATION_POST);
        request->addRequestHeadEntry(name, value);
        EXPECT_EQ(Refused(*request), INVALID) << name;
    }
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("Connection", "close");
    EXPECT_EQ(Sent(*request).Header("Connection"), "close");
}

TEST_F(StrictRequestTest, LeavesTheHostsRequestAsItIs) {
    const auto request = MakeRequest(HTTPOPERATION_POST, "/path");
    request->setContent("a body that is longer than a short text");
    request->addRequestHeadEntry("X-Name", "a value that is longer than a short text");
    request->setCustomCookieParam("a cookie that is longer than a short text");
    const std::string first = Sent(*request).raw;
    EXPECT_EQ(Sent(*request).raw, first);
    EXPECT_EQ(request->getContent(), "a body that is longer than a short text");
}

namespace {

/// A host's own implementation, which is read through its operations.
class HostsRequest final : public CHttpRequestImp {
public:
    HTTPOPERATIONTYPE getVerb() const override { return HTTPOPERATION_POST; }
    std::string getUrlPath() const override { return "/own"; }
    std::string getContent() const override { return content; }
    std::string getCustomCookieParam() const override { return "own=1"; }
    std::map<std::string, std::string> getRequestHead() const override { return {{"X-Own", "yes"}}; }
    unsigned int getParamNums() const override { return 1; }
    std::string getParamsAppendInURL() const override { return "?own=text"; }
    std::string getAcceptEncoding() const override { return "gzip"; }

    std::string content;
};

} // namespace

TEST_F(StrictRequestTest, OfAHostsOwnClassIsReadThroughItsOperations) {
    CHttpRequest request;
    auto own = std::make_unique<HostsRequest>();
    own->content = "own body";
    request.m_pImp = std::move(own);
    EXPECT_EQ(Bytes(request), "POST /own?own=text HTTP/1.1\r\n"
                              "Host: <server>\r\n"
                              "User-Agent: libhttpclient\r\n"
                              "Content-Type: application/x-www-form-urlencoded\r\n"
                              "Accept: */*\r\n"
                              "Cookie: own=1\r\n"
                              "X-Own: yes\r\n"
                              "Content-Length: 8\r\n\r\nown body");
    static_cast<HostsRequest&>(*request.m_pImp).content.clear();
    EXPECT_EQ(Sent(request).body, "own=text");
}
