// SPDX-License-Identifier: Apache-2.0
// What a synchronous send puts on the wire. The table in data/request-bytes.txt holds the whole bytes.
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>

#include "ClientFixture.h"
#include "GoldenFile.h"
#include "Verbs.h"

using namespace httpclient::testing;

namespace {

/// What a request has besides verb and path.
struct Extras {
    const char* name;
    bool params;
    bool body;
    bool cookie;
    bool encoding;
};

constexpr Extras EXTRAS[] = {
    {"nothing else", false, false, false, false}, {"parameters", true, false, false, false},
    {"a body", false, true, false, false},        {"parameters and a body", true, true, false, false},
    {"a cookie", false, false, true, false},      {"an accepted encoding", false, false, false, true},
    {"everything", true, true, true, true},
};

/// Sends a request on a connection of its own. @return the bytes that the server received.
std::string BytesOf(const CHttpRequest& request) {
    CHttpConnectionMgr::Finalize(); // the pool takes only so many addresses
    LoopbackServer server(AnswerAll(""));
    CHttpClient client;
    PointAt(client, server);
    CHttpResponse response;
    EXPECT_EQ(client.synSendRequest(request, response, false), 200);
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), 1U);
    return requests.empty() ? "" : Replaced(requests[0].raw, server.authority(), "<server>");
}

std::string BytesOf(HTTPOPERATIONTYPE verb, const Extras& extras) {
    const auto request = MakeRequest(verb, "/path");
    if (extras.params) {
        request->addParam("b", "2 3");
        request->addParam("a", "1");
    }
    if (extras.body) {
        request->setContent("{\"body\": true}");
    }
    if (extras.cookie) {
        request->setCustomCookieParam("session=1; theme=dark");
    }
    if (extras.encoding) {
        request->setAcceptEncoding("gzip");
    }
    return BytesOf(*request);
}

class SynSendRequestBytes : public ClientTest {};

} // namespace

TEST_F(SynSendRequestBytes, AreAsInTheTable) {
    std::string table;
    for (const Verb& verb : VERBS) {
        for (const Extras& extras : EXTRAS) {
            table += std::string(verb.name) + " with " + extras.name + "\n" +
                     Shown(BytesOf(verb.type, extras), "    ") + "\n";
        }
    }
    ExpectGolden(CLIENT_TEST_DATA "/request-bytes.txt", table);
}

TEST_F(SynSendRequestBytes, HaveAGetsParametersInTheUrl) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addParam("name", "value");
    EXPECT_EQ(BytesOf(*request), "GET /path?name=value HTTP/1.1\r\n"
                                 "Host: <server>\r\n"
                                 "Accept: */*\r\n"
                                 "Cookie: \r\n"
                                 "Content-Length: 0\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\n\r\n");
}

TEST_F(SynSendRequestBytes, HaveParametersAppendedWithoutALookAtThePath) {
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/path?old=1");
    request->addParam("name", "value");
    EXPECT_EQ(BytesOf(*request).substr(0, 46), "DELETE /path?old=1?name=value HTTP/1.1\r\nHost: ");
}

TEST_F(SynSendRequestBytes, HaveAPostsParametersInTheBody) {
    const auto request = MakeRequest(HTTPOPERATION_POST, "/path");
    request->addParam("name", "value");
    EXPECT_EQ(BytesOf(*request), "POST /path HTTP/1.1\r\n"
                                 "Host: <server>\r\n"
                                 "Accept: */*\r\n"
                                 "Cookie: \r\n"
                                 "Content-Length: 10\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\n\r\n"
                                 "name=value");
}

TEST_F(SynSendRequestBytes, HaveTheBodyInPlaceOfThePostsParameters) {
    const auto request = MakeRequest(HTTPOPERATION_POST, "/path");
    request->addParam("name", "value");
    request->setContent("body");
    EXPECT_EQ(BytesOf(*request), "POST /path HTTP/1.1\r\n"
                                 "Host: <server>\r\n"
                                 "Accept: */*\r\n"
                                 "Cookie: \r\n"
                                 "Content-Length: 4\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\n\r\n"
                                 "body");
}

TEST_F(SynSendRequestBytes, HoldAnEmptyCookieAsALineWithoutAValue) {
    // The empty cookie is set like any other, and libcurl makes a line of it.
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->setCustomCookieParam("");
    EXPECT_NE(BytesOf(*request).find("\r\nCookie: \r\n"), std::string::npos);
}

TEST_F(SynSendRequestBytes, HoldABodyUpToItsFirstNul) {
    for (const HTTPOPERATIONTYPE verb : {HTTPOPERATION_POST, HTTPOPERATION_PUT}) {
        const auto request = MakeRequest(verb, "/path");
        request->setContent(std::string("ab\0cd", 5));
        const std::string bytes = BytesOf(*request);
        EXPECT_NE(bytes.find("Content-Length: 2\r\n"), std::string::npos) << bytes;
        EXPECT_EQ(bytes.substr(bytes.size() - 6), "\r\n\r\nab");
    }
}

TEST_F(SynSendRequestBytes, HaveNoSlashBeforeAnEmptyPathButLibcurls) {
    EXPECT_EQ(BytesOf(*MakeRequest(HTTPOPERATION_GET, "")).substr(0, 16), "GET / HTTP/1.1\r\n");
}
