// SPDX-License-Identifier: Apache-2.0
// What a synchronous send does when a server answers 403 to a token.
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "ExchangeTest.h"
#include "identity/HttpSiaToken.h"
#include "setting/Callback.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

const std::string RETRY = "[3] HTTP synSendRequest, response code is 403, retry to SendRequest";

using Tokens = std::vector<std::string>;

class RefusedToken : public ExchangeTest {
protected:
    RefusedToken() {
        m_request.setVerb(HTTPOPERATION_GET);
        m_request.setUrlPath("/orders");
        m_client.setDomain(m_server.address());
        m_client.setPort(m_server.port());
    }
    /// Sends the request, which gets these answers. @return the status, or -1.
    int Send(const std::vector<Reply>& replies) {
        for (const Reply& reply : replies) {
            m_script.Add(reply);
        }
        const int status = m_client.synSendRequest(m_request, m_response, false);
        EXPECT_EQ(m_script.left(), 0U);
        return status;
    }
    /// @return the tokens of the requests so far, "none" where there was none.
    Tokens Seen() const {
        Tokens tokens;
        for (const RecordedRequest& request : m_server.requests()) {
            tokens.push_back(request.Header("x-access-token").value_or("none"));
        }
        return tokens;
    }
    /// @return all that is logged of a send with an exchange before each of two tries.
    static Lines TwoExchanges() {
        Lines lines = ExchangeLines("/orders", "orders", Nth("orders", 1).size());
        lines.push_back(RETRY);
        for (const std::string& line : ExchangeLines("/orders", "orders", Nth("orders", 2).size())) {
            lines.push_back(line);
        }
        return lines;
    }

    ReplyScript m_script;
    LoopbackServer m_server{m_script};
    CHttpRequest m_request;
    CHttpClient m_client;
    CHttpResponse m_response;
};

const Reply REFUSAL = Respond(403, {{"Content-Type", "text/plain"}}, "no, ");
const Reply CONSENT = Respond(200, {{"Content-Type", "text/html"}}, "yes");

} // namespace

TEST_F(RefusedToken, IsDroppedAndTheRequestSentOnceMoreWithAFreshOne) {
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
    EXPECT_EQ(NewLines(), TwoExchanges());
    EXPECT_EQ(Kept("orders"), Nth("orders", 2));
    EXPECT_EQ(m_service.exchangesFor("orders"), 2U);
}

TEST_F(RefusedToken, LeavesTheTextsOfBothAnswersInTheResponse) {
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(m_response.getStatusCode(), 200);
    EXPECT_EQ(m_response.getResponseBody(), "no, yes");
    EXPECT_EQ(m_response.getResponseHead(),
              "HTTP/1.1 403 Forbidden\r\nContent-Type: text/plain\r\nContent-Length: 4\r\n\r\n"
              "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(m_response.getContentType(), "text/html");
    EXPECT_EQ(m_response.getContentLen(), 3.0); // what the second answer says, not the body's length
}

TEST_F(RefusedToken, LeavesLongTextsOfBothAnswersWhole) {
    const std::string first(100'000, 'n');
    const std::string second(300'000, 'y');
    EXPECT_EQ(Send({Respond(403, {}, first), Respond(200, {}, second)}), 200);
    EXPECT_TRUE(m_response.getResponseBody() == first + second);
    EXPECT_EQ(m_response.getContentLen(), 300'000.0);
}

TEST_F(RefusedToken, GivesTheLengthOfBothBodiesWhenTheSecondAnswerHasNone) {
    EXPECT_EQ(Send({REFUSAL, RespondChunked(200, {}, {"y", "es"})}), 200);
    EXPECT_EQ(m_response.getResponseBody(), "no, yes");
    EXPECT_EQ(m_response.getContentLen(), 7.0);
}

TEST_F(RefusedToken, IsFollowedByNoMoreThanOneRetry) {
    EXPECT_EQ(Send({REFUSAL, Respond(403, {}, "never")}), 403);
    EXPECT_EQ(m_response.getStatusCode(), 403);
    EXPECT_EQ(m_response.getResponseBody(), "no, never");
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
    EXPECT_EQ(NewLines(), TwoExchanges());
    EXPECT_EQ(Kept("orders"), Nth("orders", 2)); // the second one stays, refused as it was
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(Seen().at(2), Nth("orders", 2));
    EXPECT_EQ(Seen().at(3), Nth("orders", 3));
}

TEST_F(RefusedToken, LeavesTheResponseAloneWhenTheRetryFails) {
    m_response.setStatusCode(299);
    m_response.setResponseBody("old body");
    m_response.setResponseHead("old head");
    m_response.setContentLen(77.0);
    EXPECT_EQ(Send({REFUSAL, Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", After::Close)}), -1);
    EXPECT_EQ(m_response.getStatusCode(), 299);
    EXPECT_EQ(m_response.getResponseBody(), "old body");
    EXPECT_EQ(m_response.getResponseHead(), "old head");
    EXPECT_EQ(m_response.getContentLen(), 77.0);
    EXPECT_EQ(m_response.getResponseHeadNums(), 0U);
    Lines expected = TwoExchanges();
    expected.emplace_back("[5] HTTP synSendRequest::HttpGet curl_easy_perform call failed, error no is:18");
    EXPECT_EQ(NewLines(), expected);
}

TEST_F(RefusedToken, IsFollowedByTheSameRequestButForTheToken) {
    const std::pair<HTTPOPERATIONTYPE, const char*> verbs[] = {{HTTPOPERATION_GET, "GET"},
                                                               {HTTPOPERATION_PUT, "PUT"},
                                                               {HTTPOPERATION_POST, "POST"},
                                                               {HTTPOPERATION_DELETE, "DELETE"}};
    m_request.addParam("name", "value");
    m_request.addRequestHeadEntry("A", "1");
    m_request.setCustomCookieParam("c=1");
    m_request.setContentType("text/plain");
    for (const auto& [verb, name] : verbs) {
        m_request.setVerb(verb);
        m_request.setContent(verb == HTTPOPERATION_POST ? "content" : "");
        EXPECT_EQ(Send({REFUSAL, CONSENT}), 200) << name;
        const auto requests = m_server.requests();
        const std::string& first = requests.at(requests.size() - 2).raw;
        std::string second = requests.back().raw;
        const std::string from = *requests.back().Header("x-access-token");
        const std::string to = *requests.at(requests.size() - 2).Header("x-access-token");
        EXPECT_NE(second.find(name), std::string::npos);
        EXPECT_NE(from, to) << name;
        second.replace(second.find(from), from.size(), to);
        EXPECT_EQ(second, first) << name;
        m_service.SetTokens("orders", {Secret("a"), Secret("b")});
        Sia().EraseTokenFromBuf("/orders", false);
        ClosePool(); // with the engine's tokens
    }
}

TEST_F(RefusedToken, IsDroppedAfterAHeadToo) {
    m_request.setVerb(HTTPOPERATION_HEAD);
    EXPECT_EQ(Send({RespondHead(403), RespondHead(200, {{"Content-Length", "5"}})}), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2)}));
    EXPECT_EQ(m_response.getContentLen(), 5.0);
}

TEST_F(RefusedToken, OfTheCacheIsDroppedForAllUrlsOfTheService) {
    EXPECT_EQ(Token("/orders/1"), Nth("orders", 1));
    EXPECT_EQ(Token("/stock"), Nth("stock", 1));
    NewLines();
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    Lines expected{message::Mapped("/orders", "orders"), message::FromBuffer(Nth("orders", 1).size()), RETRY};
    for (const std::string& line : ExchangeLines("/orders", "orders", Nth("orders", 2).size())) {
        expected.push_back(line);
    }
    EXPECT_EQ(NewLines(), expected);
    EXPECT_EQ(Token("/orders/1"), Nth("orders", 2));
    EXPECT_EQ(Token("/stock"), Nth("stock", 1));
}

TEST_F(RefusedToken, IsFollowedByARequestWithoutTokenWhenTheExchangeFails) {
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    NewLines();
    m_service.AnswerWith(Respond(503));
    m_request.addRequestHeadEntry("A", "1");
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), "none"}));
    EXPECT_EQ(m_server.requests().at(1).Header("A"), "1");
    EXPECT_EQ(
        NewLines(),
        (Lines{message::Mapped("/orders", "orders"), message::FromBuffer(Nth("orders", 1).size()), RETRY,
               message::Mapped("/orders", "orders"), message::ExchangeFailed(503), message::GET_FAILED}));
    EXPECT_EQ(Kept("orders"), "none");
}

TEST_F(RefusedToken, IsFollowedByARetryEvenWhenThereWasNone) {
    m_service.AnswerWith(Respond(503));
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(Seen(), (Tokens{"none", "none"}));
    EXPECT_EQ(m_service.exchanges().size(), 2U);
}

TEST_F(RefusedToken, IsNotDroppedForAUrlOfNoService) {
    EXPECT_EQ(Token("/orders"), Nth("orders", 1));
    NewLines();
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(Send({REFUSAL}), 403);
    EXPECT_EQ(m_response.getResponseBody(), "no, ");
    EXPECT_EQ(NewLines(), Lines{message::NotNeeded("/elsewhere")});
    EXPECT_EQ(Kept("orders"), Nth("orders", 1));
}

TEST_F(RefusedToken, IsNotDroppedForAnyOtherStatus) {
    for (const int status : {200, 400, 401, 402, 404, 407, 500, 503}) {
        EXPECT_EQ(Send({Respond(status, {}, "body")}), status);
    }
    EXPECT_EQ(m_response.getResponseBody(), "body");
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_EQ(Kept("orders"), Nth("orders", 1));
}

TEST_F(RefusedToken, OfSiaAccessIsDroppedForAnyUrl) {
    m_client.EnableSiaAccess();
    m_request.setUrlPath("/elsewhere");
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth(ACCESS, 1), Nth(ACCESS, 2)}));
    EXPECT_EQ(Kept(ACCESS), Nth(ACCESS, 2));
}

TEST_F(RefusedToken, OfSiaAccessIsFollowedByARetryEvenWithTheSwitchOff) {
    // Dropping a token does not look at the switch, so the fixed service makes for a retry,
    // without any token.
    EndSia();
    const ScopedEnvironment off("enableServiceIdentity");
    m_client.EnableSiaAccess();
    EXPECT_EQ(Send({REFUSAL, CONSENT}), 200);
    EXPECT_EQ(Seen(), (Tokens{"none", "none"}));
    EXPECT_EQ(m_response.getResponseBody(), "no, yes");
    EXPECT_EQ(NewLines(), Lines{RETRY});
    EXPECT_TRUE(m_service.exchanges().empty());
}

TEST_F(RefusedToken, IsNotDroppedWithTheSwitchOff) {
    EndSia();
    const ScopedEnvironment off("enableServiceIdentity");
    EXPECT_EQ(Send({REFUSAL}), 403);
    EXPECT_EQ(NewLines(), Lines{});
}

TEST_F(RefusedToken, OfAnAsynchronousSendIsKept) {
    m_script.Add(REFUSAL);
    const AsynResult result = AsynSend(m_client, m_request, false);
    EXPECT_EQ(result.status, 403);
    EXPECT_EQ(result.body, "no, ");
    EXPECT_EQ(Kept("orders"), Nth("orders", 1));
    EXPECT_EQ(m_service.exchanges().size(), 1U);
}

TEST_F(RefusedToken, IsTakenForWhatItIsWhenItExpiredBetweenTheTries) {
    m_script.Add(REFUSAL);
    m_script.Add(CONSENT);
    EXPECT_EQ(m_client.synSendRequest(m_request, m_response, false), 200);
    m_clock.Advance(LIFE);
    EXPECT_EQ(Send({CONSENT}), 200);
    EXPECT_EQ(Seen(), (Tokens{Nth("orders", 1), Nth("orders", 2), Nth("orders", 3)}));
}
