// SPDX-License-Identifier: Apache-2.0
// A pooled handle is never reset: what a send does not set, it inherits from the one before. What that means
// for verbs, tests/verbs shows.
#include <string>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"

using namespace httpclient::testing;

namespace {

class CarryOver : public ClientTest {};

} // namespace

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
