// SPDX-License-Identifier: Apache-2.0
// TLS under the STRICT profile: never plain where it was asked for, and the server always verified.
#include <memory>

#include <httpclient/testing/TlsLoopbackServer.h>

#include "BothRoads.h"
#include "setting/TlsSetting.h"

using namespace httpclient::testing;

namespace {

class StrictTls : public StrictTest {
protected:
    /// A server whose certificate has this name alone.
    std::unique_ptr<TlsLoopbackServer> ServerNamed(const std::string& name,
                                                   const CertificateAuthority* issuer = nullptr) {
        TlsOptions options = m_tls.Server();
        CertificateProfile profile;
        profile.commonName = name;
        profile.names = {name};
        options.identity = (issuer != nullptr ? *issuer : m_tls.ca()).Issue(profile);
        return std::make_unique<TlsLoopbackServer>(AnswerAll("answer"), options);
    }

    /// Sends in both ways. @return status, or the failure, which both agree on.
    std::string Send(CHttpClient& client, bool bSSL) {
        CHttpResponse response;
        const int status = client.synSendRequest(*m_get, response, bSSL);
        const StrictOutcome outcome = SendAndWait(client, *m_get, bSSL);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.failure, FailureOf(response));
        return status == -1 ? FailureOf(response) : std::to_string(status);
    }

    TlsSetting m_tls;
    std::unique_ptr<CHttpRequest> m_get = MakeRequest(HTTPOPERATION_GET);
};

const std::string REFUSED = "Tls in Handshake";

} // namespace

TEST_F(StrictTls, IsUsedWhenEitherTheSchemeOrTheArgumentAsksForIt) {
    TlsLoopbackServer server(AnswerAll("answer"), m_tls.Server());
    for (const char* scheme : {"http", "https", "HTTPS"}) {
        for (const bool bSSL : {true, false}) {
            StrictClient client(server);
            client.setScheme(scheme);
            EXPECT_EQ(Send(client, bSSL),
                      bSSL || std::string(scheme) != "http" ? "200" : "ConnectionLost in Head")
                << scheme << bSSL;
        }
    }
    for (const RecordedRequest& request : server.requests()) {
        EXPECT_EQ(request.peerSubject, "CN=client") << "with the platform's certificate";
    }
}

TEST_F(StrictTls, NeverGoesOutInPlain) {
    LoopbackServer plain(AnswerAll("answer")); // takes the handshake for the beginning of a request
    for (const bool byArgument : {true, false}) {
        StrictClient client(plain);
        client.setConnectTimeout(1);
        client.setScheme(byArgument ? "http" : "https");
        CHttpResponse response;
        EXPECT_EQ(client.synSendRequest(*m_get, response, byArgument), -1);
        ASSERT_NE(response.getFailure(), nullptr);
        EXPECT_EQ(response.getFailure()->phase(),
                  httpclient::Phase::Handshake); // the server may close or wait
    }
    ASSERT_TRUE(plain.WaitForUnfinished(2));
    for (const std::string& bytes : plain.unfinished()) {
        EXPECT_EQ(bytes.substr(0, 2), "\x16\x03") << "a TLS record";
    }
    EXPECT_TRUE(plain.requests().empty());
}

TEST_F(StrictTls, HasTheCiphersOfTheSystemWhateverTheHostLists_Stays) {
    const TlsLoopbackServer server(AnswerAll("answer"), m_tls.Server());
    StrictClient client(server);
    client.setSSLCipherList("NO-SUCH-CIPHER");
    EXPECT_EQ(Send(client, true), "200");
}

TEST_F(StrictTls, VerifiesTheNameOfTheHost) {
    const auto server = ServerNamed("other.test");
    StrictClient client(*server);
    EXPECT_EQ(Send(client, true), REFUSED);
    EXPECT_EQ(server->requests().size(), 0U);
}

TEST_F(StrictTls, VerifiesTheNameThatTheHostSetsInstead) {
    const auto server = ServerNamed("service.test");
    StrictClient client(*server);
    client.setServerName("service.test");
    EXPECT_EQ(Send(client, true), "200");
    client.setServerName("other.test");
    EXPECT_EQ(Send(client, true), REFUSED) << "no connection of the other name is used";
    client.setServerName("");
    EXPECT_EQ(Send(client, true), REFUSED) << "the host's own name again";
}

TEST_F(StrictTls, TakesAnyNameOfOurAuthoritiesForAStar) {
    const auto ours = ServerNamed("other.test");
    StrictClient client(*ours);
    client.setServerName("*");
    EXPECT_EQ(Send(client, true), "200");
    const CertificateAuthority foreign("Stranger");
    const auto stranger = ServerNamed("localhost", &foreign);
    PointAt(client, *stranger);
    EXPECT_EQ(Send(client, true), REFUSED);
}

TEST_F(StrictTls, SharesNoConnectionBetweenAStarAndAName) {
    const auto server = ServerNamed("other.test");
    StrictClient any(*server);
    any.setServerName("*");
    StrictClient named(*server);
    ASSERT_EQ(Send(any, true), "200");
    EXPECT_EQ(Send(named, true), REFUSED);
    ASSERT_EQ(Send(any, true), "200");
    EXPECT_EQ(server->requests().size(), 4U);
}

TEST_F(StrictTls, FailsWhereThePlatformHasNoMaterial) {
    TlsLoopbackServer server(AnswerAll("answer"), m_tls.Server());
    const TemporaryDirectory empty;
    const ScopedEnvironment root("SSL_ROOT", empty.path());
    StrictClient client(server);
    EXPECT_EQ(Send(client, true), REFUSED);
}
