// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/TlsRoot.h>

#include "CurlClient.h"

namespace httpclient::testing {

namespace {

struct TokenService : ::testing::Test {
    CertificateAuthority ca;
    TlsRoot root{ca.certificatePem(), ca.IssueClient(), "", ""};
    FakeTokenService service{{ca.IssueServer(), ca.certificatePem()}, "127.0.0.1", 0};

    Fetched Ask(const std::string& body, const std::string& path = "/rest/sia/v1/tokens/jwt/sia",
                const char* method = "POST") {
        return Fetch(service.server().url(path), [&](CURL* handle) {
            curl_easy_setopt(handle, CURLOPT_CAINFO, root.File("trust.cer").c_str());
            curl_easy_setopt(handle, CURLOPT_SSLCERT, root.File("server.cer").c_str());
            curl_easy_setopt(handle, CURLOPT_SSLKEY, root.File("server_key.pem").c_str());
            curl_easy_setopt(handle, CURLOPT_COPYPOSTFIELDS, body.c_str());
            curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, method);
        });
    }
};

constexpr const char* FOR_MAIL = R"({"domain":"mail","jwt":"j.w.t"})";

TEST_F(TokenService, GivesTheTokensInOrderAndTheLastAgain) {
    service.SetTokens("mail", {"first", "last"});
    EXPECT_EQ(Ask(FOR_MAIL).body, R"({"token":"first"})");
    EXPECT_EQ(Ask(FOR_MAIL).body, R"({"token":"last"})");
    EXPECT_EQ(Ask(FOR_MAIL).body, R"({"token":"last"})");
    EXPECT_EQ(service.exchangesFor("mail"), 3U);
    EXPECT_EQ(service.exchangesFor("other"), 0U);
}

TEST_F(TokenService, RecordsWhatCameIn) {
    Ask(FOR_MAIL);
    Ask("[");
    ASSERT_TRUE(service.WaitForExchanges(2));
    const auto exchanges = service.exchanges();
    EXPECT_EQ(exchanges[0].service, "mail");
    EXPECT_EQ(exchanges[0].jwt, "j.w.t");
    EXPECT_EQ(exchanges[0].body, FOR_MAIL);
    EXPECT_EQ(exchanges[1].service, "");
    EXPECT_EQ(exchanges[1].body, "[");
    EXPECT_FALSE(service.WaitForExchanges(3, std::chrono::milliseconds(20)));
}

TEST_F(TokenService, RefusesWhatIsNoExchange) {
    service.SetTokens("mail", {"token"});
    EXPECT_EQ(Ask(R"({"domain":"unknown","jwt":"j"})").status, 404);
    EXPECT_EQ(Ask(R"({"domain":"mail"})").status, 400);
    EXPECT_EQ(Ask(R"(["mail"])").status, 400);
    EXPECT_EQ(Ask(FOR_MAIL, "/elsewhere").status, 404);
    EXPECT_EQ(Ask(FOR_MAIL, "/rest/sia/v1/tokens/jwt/sia", "PUT").status, 405);
}

TEST_F(TokenService, AnswersAnythingElseWhenTold) {
    service.SetTokens("mail", {"token"});
    service.AnswerWith(Respond(503, {}, "later"));
    EXPECT_EQ(Ask(FOR_MAIL).status, 503);
    service.AnswerWith([](const RecordedRequest& request) { return Respond(200, {}, request.peerSubject); });
    EXPECT_EQ(Ask(FOR_MAIL).body, "CN=client");
    service.AnswerNormally();
    EXPECT_EQ(Ask(FOR_MAIL).body, R"({"token":"token"})");
    EXPECT_EQ(service.exchanges().size(), 3U);
}

TEST(FakeTokenServicePort, IsThatOfThePlatformUnlessToldOtherwise) {
    const CertificateAuthority ca;
    const FakeTokenService service({ca.IssueServer(), ca.certificatePem()}, ProcessLoopbackAddress());
    EXPECT_EQ(service.server().port(), 32018);
}

} // namespace

} // namespace httpclient::testing
