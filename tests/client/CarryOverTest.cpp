// SPDX-License-Identifier: Apache-2.0
// A pooled handle is never reset: what a send does not set, it inherits from the one before. The table in
// data/carry-over.txt shows, for each verb after each other one, what then goes over the wire.
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>

#include "ClientFixture.h"
#include "GoldenFile.h"
#include "Verbs.h"

using namespace httpclient::testing;

namespace {

const std::string INDENT = "    ";

std::string Outcome(int result, const CHttpResponse& response) {
    if (result == -1) {
        return "  result -1, nothing received\n";
    }
    return "  status " + std::to_string(result) + ", length " +
           std::to_string(static_cast<long>(response.getContentLen())) + ", body:\n" +
           Shown(response.getResponseBody(), INDENT);
}

/// One client, one connection, one request after the other.
class Conversation {
public:
    Conversation() {
        CHttpConnectionMgr::Finalize(); // the pool takes only so many addresses
        PointAt(m_client, m_server);
        m_client.setRequestTimeout(1); // for a body that never comes
    }

    /// Sends a request of this verb. @return what went over the wire and what became of it, as text.
    std::string Send(HTTPOPERATIONTYPE verb) {
        const std::size_t before = m_server.requests().size();
        const auto request = MakeRequest(verb, "/path");
        request->setContent("content");
        CHttpResponse response;
        const int result = m_client.synSendRequest(*request, response, false);
        m_server.WaitForRequests(before + 1);
        const auto requests = m_server.requests();
        const std::string raw = requests.size() > before ? requests[before].raw : "";
        return "  request:\n" + Shown(Replaced(raw, m_server.authority(), "<server>"), INDENT) +
               Outcome(result, response);
    }

    std::string Counts() const {
        return "  the server saw " + std::to_string(m_server.requests().size()) + " requests on " +
               std::to_string(m_server.connectionsAccepted()) + " connections\n";
    }

private:
    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClient m_client;
};

class CarryOver : public ClientTest {};

} // namespace

TEST_F(CarryOver, BetweenAllPairsOfVerbsIsAsInTheTable) {
    std::string table;
    for (const Verb& verb : VERBS) {
        Conversation conversation;
        table += std::string(verb.name) + " on a fresh connection\n" + conversation.Send(verb.type) + "\n";
    }
    for (const Verb& first : VERBS) {
        for (const Verb& second : VERBS) {
            Conversation conversation;
            conversation.Send(first.type);
            table += std::string(first.name) + ", then " + second.name + "\n";
            table += conversation.Send(second.type);
            table += conversation.Counts() + "\n";
        }
    }
    ExpectGolden("carry-over.txt", table);
}

TEST_F(CarryOver, OfTheAcceptedEncodingReachesLaterSends) {
    LoopbackServer server(AnswerAll("answer"));
    CHttpClient client;
    PointAt(client, server);
    CHttpResponse response;
    const auto first = MakeRequest(HTTPOPERATION_GET);
    first->setAcceptEncoding("gzip");
    const auto second = MakeRequest(HTTPOPERATION_GET);
    ASSERT_EQ(client.synSendRequest(*second, response, false), 200);
    ASSERT_EQ(client.synSendRequest(*first, response, false), 200);
    ASSERT_EQ(client.synSendRequest(*second, response, false), 200);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].Header("Accept-Encoding"), std::nullopt);
    EXPECT_EQ(requests[1].HeaderCount("Accept-Encoding"), 1U);
    EXPECT_EQ(requests[2].Header("Accept-Encoding"), "gzip");
    EXPECT_EQ(requests[2].connection, 1U);
}

TEST_F(CarryOver, OfTheCookieEndsWithEachSend) {
    LoopbackServer server(AnswerAll("answer"));
    CHttpClient client;
    PointAt(client, server);
    CHttpResponse response;
    const auto first = MakeRequest(HTTPOPERATION_GET);
    first->setCustomCookieParam("a=1");
    ASSERT_EQ(client.synSendRequest(*first, response, false), 200);
    ASSERT_EQ(client.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response, false), 200);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].Header("Cookie"), "a=1");
    EXPECT_EQ(requests[1].Header("Cookie"), "");
}
