// SPDX-License-Identifier: Apache-2.0
// Whether every peer does the same work.
#include <cctype>
#include <exception>
#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

#include "../../TokenService.h"
#include "../../cost/CachedToken.h"
#include "Peer.h"

/// For GoogleTest.
void PrintTo(const PeerKind& kind, std::ostream* out) {
    *out << kind.name;
}

namespace {

using namespace httpclient::testing;

constexpr unsigned int SENT = 10;
const std::string ANSWER(128, 'x');

Reply Answer(const RecordedRequest&) {
    return Respond(200, {{"Content-Type", "text/plain"}}, ANSWER);
}

/// @return whether the answer came; an exception means that it did not.
bool Sends(Peer& peer) {
    try {
        return peer.Send();
    } catch (const std::exception&) {
        return false;
    }
}

class Peers : public ::testing::TestWithParam<PeerKind> {
protected:
    ~Peers() override { CHttpConnectionMgr::Finalize(); }

    static Target At(const LoopbackServer& server) {
        Target target;
        target.port = server.port();
        target.path = "/128";
        return target;
    }
    static Target OverTls(const LoopbackServer& server, const TlsRoot& root) {
        Target target = At(server);
        target.tls = true;
        target.ca = root.File("trust.cer");
        target.certificate = root.File("server.cer");
        target.key = root.File("server_key.pem");
        return target;
    }
    static bool SendsTo(const LoopbackServer& server) { return Sends(*GetParam().make(At(server))); }
    /// @param made so many connections for SENT requests.
    static void ExpectKept(unsigned int made) {
        if (GetParam().name == "libcurl, a handle per request") {
            EXPECT_EQ(made, SENT);
        } else if (GetParam().name ==
                   "cpprestsdk") { // takes its connection back a moment after the answer is there
            EXPECT_LT(made, SENT);
        } else {
            EXPECT_EQ(made, 1U);
        }
    }
};

TEST_P(Peers, KeepTheirConnectionUnlessTheyMakeANewHandle) {
    const LoopbackServer server(&Answer);
    const auto peer = GetParam().make(At(server));
    for (unsigned int i = 0; i < SENT; ++i) {
        EXPECT_TRUE(Sends(*peer));
    }
    ExpectKept(server.connectionsAccepted());
}

TEST_P(Peers, ConnectAnewAfterTheServerHasClosed) {
    const LoopbackServer server([](const RecordedRequest&) {
        return Then(Respond(200, {{"Connection", "close"}}, ANSWER), After::Close);
    });
    const auto peer = GetParam().make(At(server));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Sends(*peer));
    }
    EXPECT_EQ(server.connectionsAccepted(), 3U);
}

TEST_P(Peers, SendTheBodyAndTheToken) {
    const LoopbackServer server(&Answer);
    Target target = At(server);
    target.body.assign(16UL * 1024, 'b');
    target.token = MeasuredToken();
    const CertificateAuthority ca;
    const TlsRoot root(ca.certificatePem(), ca.IssueClient(), "", "");
    const ScopedEnvironment environment("SSL_ROOT", root.path());
    const TokenService tokens(ca);
    CacheToken("/1*");
    EXPECT_TRUE(Sends(*GetParam().make(target)));
    ASSERT_EQ(server.requests().size(), 1U);
    const RecordedRequest request = server.requests().front();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/128");
    EXPECT_EQ(request.body, target.body);
    EXPECT_EQ(request.Header("x-access-token"), target.token);
}

TEST_P(Peers, SendNoTokenUnlessToldTo) {
    CacheToken("/1*");
    const LoopbackServer server(&Answer);
    EXPECT_TRUE(SendsTo(server));
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests().front().method, "GET");
    EXPECT_EQ(server.requests().front().Header("x-access-token"), std::nullopt);
}

TEST_P(Peers, TakeNoOtherStatusForTheAnswer) {
    const LoopbackServer server([](const RecordedRequest&) { return Respond(500, {}, ANSWER); });
    EXPECT_FALSE(SendsTo(server));
}

TEST_P(Peers, TakeNoShorterBodyForTheAnswer) {
    const LoopbackServer server([](const RecordedRequest&) { return Respond(200, {}, ANSWER.substr(1)); });
    EXPECT_FALSE(SendsTo(server));
}

TEST_P(Peers, TakeNoBrokenBodyForTheAnswer) {
    const LoopbackServer server([](const RecordedRequest&) {
        return Raw("HTTP/1.1 200 OK\r\nContent-Length: 128\r\n\r\n" + ANSWER.substr(64), After::Close);
    });
    EXPECT_FALSE(SendsTo(server));
}

TEST_P(Peers, ShowTheirCertificateAndKeepTheTlsConnection) {
    const CertificateAuthority ca;
    const TlsRoot root(ca.certificatePem(), ca.IssueClient(), "", "");
    const ScopedEnvironment environment("SSL_ROOT", root.path());
    const TlsLoopbackServer server(&Answer, {ca.IssueServer(), ca.certificatePem()});
    const auto peer = GetParam().make(OverTls(server, root));
    for (unsigned int i = 0; i < SENT; ++i) {
        EXPECT_TRUE(Sends(*peer));
    }
    ExpectKept(server.handshakes());
    ASSERT_FALSE(server.subjects().empty());
    EXPECT_EQ(server.subjects().front(), "CN=client");
}

TEST_P(Peers, RefuseAServerOfAnotherAuthority) {
    const CertificateAuthority ca;
    const CertificateAuthority other("Another CA");
    const TlsRoot root(other.certificatePem(), ca.IssueClient(), "", "");
    const ScopedEnvironment environment("SSL_ROOT", root.path());
    const TlsLoopbackServer server(&Answer, {ca.IssueServer(), ca.certificatePem()});
    EXPECT_FALSE(Sends(*GetParam().make(OverTls(server, root))));
    EXPECT_TRUE(server.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(All, Peers, ::testing::ValuesIn(AllPeers()), [](const auto& kind) {
    std::string name;
    for (const char c : kind.param.name) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            name += c;
        }
    }
    return name;
});

} // namespace
