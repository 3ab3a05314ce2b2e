// SPDX-License-Identifier: Apache-2.0
// Servers and settings that misbehave, and inputs of unusual size: after each, the next send works.
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"

using namespace httpclient::testing;
using namespace std::string_view_literals;

namespace {

using Messages = std::vector<std::string>;

constexpr auto GZIP = "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\x4b\x49\x4d\xce\x4f\x49\x4d\x51\x28\x49"
                      "\xad\x28\x51\x48\x21\x8e\x03\x00\xe1\xfe\x42\x74\x34\x00\x00\x00"sv;
const std::string PLAIN = "decoded text decoded text decoded text decoded text ";

/// What a failed GET logs.
Messages GetFailure(CURLcode result) {
    return {"[5] HTTP synSendRequest::HttpGet curl_easy_perform call failed, error no is:" +
            std::to_string(result)};
}

/// A server whose first answer is the test's and whose later ones are sound.
class SynSendBadInput : public ClientTest {
protected:
    /// Sends a GET that is answered so, and after it another one that must work.
    int Receive(const Reply& reply, const std::string& acceptEncoding = "") {
        ReplyScript script({reply, Respond(200, {}, "sound")});
        LoopbackServer server(script);
        PointAt(m_client, server);
        const CHttpConnection* conn = NextConnection(server);
        const auto request = MakeRequest(HTTPOPERATION_GET);
        if (!acceptEncoding.empty()) {
            request->setAcceptEncoding(acceptEncoding);
        }
        const int result = m_client.synSendRequest(*request, m_response, false);
        m_messages = OwnMessages(3);
        ExpectRecovery(server, conn);
        return result;
    }

    void ExpectRecovery(const LoopbackServer& server, const CHttpConnection* conn) {
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
        EXPECT_EQ(NextConnection(server), conn);
        EXPECT_EQ(PooledConnections(server), 1U);
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response, false), 200);
        EXPECT_EQ(response.getResponseBody(), "sound");
    }

    CHttpClient m_client;
    CHttpResponse m_response;
    Messages m_messages;
};

} // namespace

TEST_F(SynSendBadInput, AUrlThatCannotBeParsedFails) {
    LoopbackServer server(AnswerAll("sound"));
    const struct {
        const char* scheme;
        const char* domain;
        int port;
        CURLcode result;
    } rows[] = {
        {"", "127.0.0.1", server.port(), CURLE_URL_MALFORMAT},
        {"gibberish", "127.0.0.1", server.port(), CURLE_UNSUPPORTED_PROTOCOL},
        {"http", "127.0.0.1", -1, CURLE_URL_MALFORMAT},
        {"http", "127.0.0.1", 65536, CURLE_URL_MALFORMAT},
        {"http", "[::1", server.port(), CURLE_URL_MALFORMAT},
        {"http", "[::1]:99", server.port(), CURLE_URL_MALFORMAT},
        {"http", "a host", server.port(), CURLE_URL_MALFORMAT},
    };
    Messages expected;
    for (const auto& row : rows) {
        m_client.setScheme(row.scheme);
        m_client.setDomain(row.domain);
        m_client.setPort(row.port);
        UntouchedResponse response;
        EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response.get(), false), -1);
        response.ExpectUntouched();
        EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
        expected.push_back(GetFailure(row.result).front());
    }
    ExpectLogged(OwnMessages(3), expected);
    m_client.setScheme("http");
    PointAt(m_client, server);
    ExpectRecovery(server, NextConnection(server));
}

TEST_F(SynSendBadInput, APathThatRunsIntoThePortFails) {
    LoopbackServer server(AnswerAll("sound"));
    PointAt(m_client, server);
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET, "path"), m_response, false), -1);
    ExpectLogged(OwnMessages(3), GetFailure(CURLE_URL_MALFORMAT));
    ExpectRecovery(server, NextConnection(server));
}

TEST_F(SynSendBadInput, ARefusedConnectionFailsUntilTheServerIsThere) {
    const std::uint16_t port = LoopbackServer(AnswerAll("")).port(); // its server is gone already
    m_client.setPort(port);
    UntouchedResponse response;
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response.get(), false), -1);
    ExpectLogged(OwnMessages(3), GetFailure(CURLE_COULDNT_CONNECT));
    response.ExpectUntouched();

    ServerOptions options;
    options.port = port;
    LoopbackServer server(AnswerAll("sound"), options);
    ExpectRecovery(server, NextConnection(server));
}

TEST_F(SynSendBadInput, AResetConnectionFails) {
    EXPECT_EQ(Receive(Silence(After::Reset)), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_RECV_ERROR));
    EXPECT_EQ(m_response.getStatusCode(), -1);
}

TEST_F(SynSendBadInput, AConnectionClosedWithoutAnAnswerFails) {
    EXPECT_EQ(Receive(Silence(After::Close)), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_GOT_NOTHING));
}

TEST_F(SynSendBadInput, AnAnswerCutInHalfFails) {
    EXPECT_EQ(Receive(Raw("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf", After::Close)), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_PARTIAL_FILE));
    EXPECT_EQ(m_response.getStatusCode(), -1);
    EXPECT_EQ(m_response.getResponseBody(), "");
}

TEST_F(SynSendBadInput, AChunkedAnswerCutInHalfFails) {
    EXPECT_EQ(Receive(Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n8\r\nhalf", After::Close)),
              -1);
    ExpectLogged(m_messages, GetFailure(CURLE_PARTIAL_FILE));
}

TEST_F(SynSendBadInput, AHeadCutInHalfIsTakenForWhatItHolds) {
    // libcurl's doing: the connection's end ends the head, too.
    EXPECT_EQ(Receive(Raw("HTTP/1.1 200 OK\r\nA: 1\r\nB", After::Close)), 200);
    EXPECT_EQ(m_response.getResponseHead(), "HTTP/1.1 200 OK\r\nA: 1\r\n");
}

TEST_F(SynSendBadInput, AnAnswerThatDoesNotComeFailsAfterTheRequestTimeout) {
    m_client.setRequestTimeout(1);
    EXPECT_EQ(Receive(Silence(After::Stall)), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_OPERATION_TIMEDOUT));
}

TEST_F(SynSendBadInput, ABodyInGzipIsDecodedWhenItWasAskedFor) {
    EXPECT_EQ(Receive(Respond(200, {{"Content-Encoding", "gzip"}}, GZIP), "gzip"), 200);
    EXPECT_EQ(m_response.getResponseBody(), PLAIN);
    EXPECT_EQ(m_response.getContentLen(), static_cast<double>(GZIP.size())); // the server's own word
    ExpectLogged(m_messages, Messages{});
}

TEST_F(SynSendBadInput, ABodyInGzipStaysAsItIsWhenItWasNotAskedFor) {
    EXPECT_EQ(Receive(Respond(200, {{"Content-Encoding", "gzip"}}, GZIP)), 200);
    EXPECT_EQ(m_response.getResponseBody(), std::string(GZIP));
}

TEST_F(SynSendBadInput, ABodyInBrokenGzipFails) {
    std::string broken(GZIP);
    broken[12] = '\xff';
    EXPECT_EQ(Receive(Respond(200, {{"Content-Encoding", "gzip"}}, broken), "gzip"), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_BAD_CONTENT_ENCODING));
    EXPECT_EQ(m_response.getStatusCode(), -1);
}

TEST_F(SynSendBadInput, AnEncodingUnknownToLibcurlFailsWhenDecodingIsOn) {
    EXPECT_EQ(Receive(Respond(200, {{"Content-Encoding", "vorn"}}, "abc"), "gzip"), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_BAD_CONTENT_ENCODING));
}

TEST_F(SynSendBadInput, NoHttpAtAllFails) {
    EXPECT_EQ(Receive(Raw("SSH-2.0-OpenSSH_9.2\r\n", After::Close)), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_UNSUPPORTED_PROTOCOL));
}

TEST_F(SynSendBadInput, ASecondStatusLineIsNoHeaderLineAndFails) {
    EXPECT_EQ(Receive(Raw("HTTP/1.1 200 OK\r\nHTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\nok")), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_WEIRD_SERVER_REPLY));
    EXPECT_EQ(m_response.getStatusCode(), -1);
}

TEST_F(SynSendBadInput, AnInterimAnswerComesBeforeTheAnswer) {
    EXPECT_EQ(
        Receive(Raw("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 201 Created\r\nContent-Length: 2\r\n\r\nok")),
        201);
    EXPECT_EQ(m_response.getResponseBody(), "ok");
    EXPECT_EQ(m_response.getContentLen(), 2.0);
}

TEST_F(SynSendBadInput, AHeaderLineOf64KiBIsTaken) {
    const std::string value(65536, 'x');
    EXPECT_EQ(Receive(Respond(200, {{"Long", value}}, "ok")), 200);
    EXPECT_NE(m_response.getResponseHead().find("Long: " + value + "\r\n"), std::string::npos);
}

TEST_F(SynSendBadInput, AHeaderLineBeyondLibcurlsLimitFails) {
    EXPECT_EQ(Receive(Respond(200, {{"Long", std::string(200000, 'x')}}, "ok")), -1);
    EXPECT_EQ(m_response.getStatusCode(), -1);
    ASSERT_EQ(m_messages.size(), 1U);
    EXPECT_EQ(m_messages[0].rfind("[5] HTTP synSendRequest::HttpGet curl_easy_perform call failed", 0), 0U);
}

TEST_F(SynSendBadInput, ALengthThatIsNoNumberFails) {
    EXPECT_EQ(Receive(Raw("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nabc", After::Close)), -1);
    ExpectLogged(m_messages, GetFailure(CURLE_WEIRD_SERVER_REPLY));
}

TEST_F(SynSendBadInput, MoreBodyThanAnnouncedIsLeftOut) {
    EXPECT_EQ(Receive(Raw("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok and more", After::Close)), 200);
    EXPECT_EQ(m_response.getResponseBody(), "ok");
}

TEST_F(SynSendBadInput, AnAnswerInSingleBytesIsTaken) {
    EXPECT_EQ(Receive(Trickle(Respond(200, {{"A", "1"}}, "slowly"), std::chrono::milliseconds(0))), 200);
    EXPECT_EQ(m_response.getResponseBody(), "slowly");
}

TEST_F(SynSendBadInput, AServerAtAnIpv6AddressIsReached) {
    ServerOptions options;
    options.address = "::1";
    LoopbackServer server(AnswerAll("sound"), options);
    for (const char* domain : {"::1", "[::1]"}) {
        PointAt(m_client, server);
        m_client.setDomain(domain);
        CHttpResponse response;
        EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response, false), 200) << domain;
        EXPECT_EQ(response.getResponseBody(), "sound");
    }
    EXPECT_EQ(server.connectionsAccepted(), 2U); // the pool knows the address by either spelling
    for (const RecordedRequest& request : server.requests()) {
        EXPECT_EQ(request.Header("Host"), server.authority());
    }
}

TEST_F(SynSendBadInput, AConnectionThatTheServerClosedBetweenSendsIsReplaced) {
    ReplyScript script({Then(Respond(200, {}, "first"), After::Close), Respond(200, {}, "sound")});
    LoopbackServer server(script);
    PointAt(m_client, server);
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), m_response, false), 200);
    ASSERT_TRUE(server.WaitForOpenConnections(0));
    ExpectRecovery(server, NextConnection(server));
    EXPECT_EQ(server.connectionsAccepted(), 2U);
}

TEST_F(SynSendBadInput, ABodyOf64MiBComesInWhole) {
    const std::string body(std::size_t{64} << 20, 'x');
    EXPECT_EQ(Receive(Respond(200, {}, body)), 200);
    EXPECT_TRUE(m_response.getResponseBody() == body); // compared so that a failure does not print it
    EXPECT_EQ(m_response.getContentLen(), static_cast<double>(body.size()));
}

TEST_F(SynSendBadInput, ABodyOf64MiBGoesOutWhole) {
    LoopbackServer server(AnswerAll("sound"));
    PointAt(m_client, server);
    const auto request = MakeRequest(HTTPOPERATION_POST);
    request->setContent(std::string(std::size_t{64} << 20, 'x'));
    EXPECT_EQ(m_client.synSendRequest(*request, m_response, false), 200);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_TRUE(server.requests()[0].body == request->getContent());
    EXPECT_EQ(server.requests()[0].Header("Expect"), "100-continue");
    EXPECT_EQ(m_response.getResponseBody(), "sound");
    ExpectRecovery(server, NextConnection(server));
}

TEST_F(SynSendBadInput, UsesNoProxyOfTheEnvironment) {
    for (const char* name :
         {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        EXPECT_EQ(std::getenv(name), nullptr) << name;
    }
}
