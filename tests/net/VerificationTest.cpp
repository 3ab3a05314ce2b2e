// SPDX-License-Identifier: Apache-2.0
// Whom a TLS connection trusts, what it says of itself, and what it speaks.
#include <string>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "net/Address.h"
#include "net/Dial.h"
#include "seam/NoVerification.h"
#include "setting/TlsPair.h"

using namespace httpclient::net;
using httpclient::testing::CertificateProfile;
using httpclient::testing::CertificateUse;
using httpclient::testing::Validity;

namespace {

/// Shakes hands with a server that has a certificate of our CA. @return how it ended.
std::error_code ShakeHands(const CertificateProfile& profile, const TlsSettings& settings) {
    PeerSettings peer = LocalhostPeer();
    peer.identity = Certificates::Instance().ca.Issue(profile);
    const PeerContext context(peer);
    TlsPair pair(context, settings);
    return pair.Handshake().error;
}

CertificateProfile Named(std::vector<std::string> names, std::vector<std::string> addresses = {}) {
    CertificateProfile profile;
    profile.commonName = "server";
    profile.names = std::move(names);
    profile.addresses = std::move(addresses);
    return profile;
}

TlsSettings Expecting(const std::string& name) {
    TlsSettings settings = TrustingSettings();
    settings.name = name;
    return settings;
}

std::error_code Refused(int reason) {
    return {reason, CertificateCategory()};
}

} // namespace

TEST(Verification, TakesTheNameThatIsExpected) {
    EXPECT_FALSE(ShakeHands(Named({"db.test", "www.test"}), Expecting("www.test")));
    EXPECT_FALSE(ShakeHands(Named({"www.test"}), Expecting("WWW.Test")));
    EXPECT_FALSE(ShakeHands(Named({"www.test"}), Expecting("www.test."))) << "a fully qualified name";
}

TEST(Verification, ThatCannotBeginEndsTheHandshake) {
    const PeerContext peer(LocalhostPeer());
    TlsPair pair(peer, TrustingSettings());
    IoResult result;
    do {
        pair.peer.Accept();
        const NoVerification refused;
        result = pair.channel.Handshake();
    } while (result.wants != Wants::Nothing);
    EXPECT_EQ(result.error, std::errc::not_enough_memory)
        << "though OpenSSL finds no fault with the certificate";
    EXPECT_EQ(pair.channel.Handshake().error, std::errc::not_enough_memory);
}

TEST(Verification, RefusesAnotherName) {
    for (const char* name : {"db.test", "www.test.evil", "a.www.test", "ww.test", "127.0.0.1", "::1"}) {
        const std::error_code error = ShakeHands(Named({"www.test"}), Expecting(name));
        EXPECT_EQ(&error.category(), &CertificateCategory()) << name;
        const bool address = NumericAddress(name).has_value();
        EXPECT_EQ(error.value(), address ? X509_V_ERR_IP_ADDRESS_MISMATCH : X509_V_ERR_HOSTNAME_MISMATCH)
            << name;
    }
}

TEST(Verification, LooksForNamesNowhereButInTheAlternativeOnes) {
    CertificateProfile old;
    old.commonName = "www.test";
    EXPECT_EQ(ShakeHands(old, Expecting("www.test")), Refused(X509_V_ERR_HOSTNAME_MISMATCH));
}

TEST(Verification, TakesAWildcardForOneWholeLabel) {
    EXPECT_FALSE(ShakeHands(Named({"*.shop.test"}), Expecting("www.shop.test")));
    EXPECT_TRUE(ShakeHands(Named({"*.shop.test"}), Expecting("a.www.shop.test")));
    EXPECT_TRUE(ShakeHands(Named({"*.shop.test"}), Expecting("shop.test")));
    EXPECT_TRUE(ShakeHands(Named({"w*.shop.test"}), Expecting("www.shop.test")));
}

TEST(Verification, ComparesAddressesWithAddresses) {
    EXPECT_FALSE(ShakeHands(Named({}, {"127.0.0.1"}), Expecting("127.0.0.1")));
    EXPECT_FALSE(ShakeHands(Named({}, {"::1"}), Expecting("::1")));
    EXPECT_FALSE(ShakeHands(Named({}, {"fe80::1"}), Expecting("fe80::1%lo")));
    EXPECT_TRUE(ShakeHands(Named({}, {"127.0.0.1"}), Expecting("127.0.0.2")));
    EXPECT_TRUE(ShakeHands(Named({"127.0.0.1"}), Expecting("127.0.0.1")))
        << "an address among the names is none";
}

TEST(Verification, OfTheNameCanBeSwitchedOffButNotThatOfTheChain) {
    TlsSettings settings = Expecting("db.test");
    settings.verifyHost = false;
    EXPECT_FALSE(ShakeHands(Named({"www.test"}), settings));
    settings.authorities = Certificates::Instance().foreign.certificatePem();
    EXPECT_EQ(ShakeHands(Named({"www.test"}), settings),
              Refused(X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY));
}

TEST(Verification, RefusesWhatIsNotOfItsTime) {
    CertificateProfile profile = Named({"localhost"});
    profile.validity = Validity::Expired;
    EXPECT_EQ(ShakeHands(profile, TrustingSettings()), Refused(X509_V_ERR_CERT_HAS_EXPIRED));
    profile.validity = Validity::NotYetValid;
    EXPECT_EQ(ShakeHands(profile, TrustingSettings()), Refused(X509_V_ERR_CERT_NOT_YET_VALID));
}

TEST(Verification, RefusesTheCertificateOfAClient) {
    CertificateProfile profile = Named({"localhost"});
    profile.use = CertificateUse::Client;
    EXPECT_EQ(ShakeHands(profile, TrustingSettings()), Refused(X509_V_ERR_INVALID_PURPOSE));
}

TEST(Verification, HasSeveralAuthorities) {
    TlsSettings settings = TrustingSettings();
    settings.authorities = Certificates::Instance().foreign.certificatePem() + "text between\n" +
                           Certificates::Instance().ca.certificatePem();
    EXPECT_FALSE(ShakeHands(Named({"localhost"}), settings));
}

TEST(Verification, UsesTheSystemsAuthoritiesWhereNoneAreNamed) {
    const httpclient::testing::TemporaryDirectory directory;
    TlsSettings settings = TrustingSettings();
    settings.authorities.clear();
    {
        const httpclient::testing::ScopedEnvironment none("SSL_CERT_FILE", directory.path() / "none");
        const httpclient::testing::ScopedEnvironment empty("SSL_CERT_DIR", directory.path());
        EXPECT_EQ(ShakeHands(Named({"localhost"}), settings),
                  Refused(X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY));
    }
    const auto file = directory.Write("ca.pem", Certificates::Instance().ca.certificatePem());
    const httpclient::testing::ScopedEnvironment system("SSL_CERT_FILE", file);
    EXPECT_FALSE(ShakeHands(Named({"localhost"}), settings));
}

TEST(Introduction, NamesTheServerUnlessItIsAnAddress) {
    const PeerContext context(LocalhostPeer());
    const auto named = [&context](const std::string& name) {
        TlsSettings settings = Expecting(name);
        settings.verifyHost = false;
        TlsPair pair(context, settings);
        EXPECT_FALSE(pair.Handshake().error) << name;
        return pair.peer.serverName();
    };
    EXPECT_EQ(named("www.test"), "www.test");
    EXPECT_EQ(named("www.test."), "www.test");
    EXPECT_EQ(named("127.0.0.1"), "");
    EXPECT_EQ(named("::1"), "");
    EXPECT_EQ(named("fe80::1%lo"), "");
    EXPECT_EQ(named("*"), "");
    EXPECT_EQ(named(""), "");
}

TEST(Introduction, OffersHttp11WhateverTheServerSaysToIt) {
    for (const char* selected : {"http/1.1", ""}) {
        PeerSettings settings = LocalhostPeer();
        settings.protocol = selected;
        const PeerContext context(settings);
        TlsPair pair(context);
        EXPECT_FALSE(pair.Handshake().error);
        EXPECT_EQ(pair.peer.offered(), "\x08http/1.1");
    }
}

TEST(Introduction, ShowsTheCertificateThatItHas) {
    PeerSettings settings = LocalhostPeer();
    settings.clientCa = Certificates::Instance().ca.certificatePem();
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        settings.newest = version;
        const PeerContext context(settings);
        TlsSettings own = TrustingSettings();
        own.certificate = Certificates::Instance().client.certificatePem;
        own.key = Certificates::Instance().client.keyPem;
        TlsPair pair(context, own);
        EXPECT_FALSE(pair.Handshake().error);
        EXPECT_TRUE(pair.peer.done());
        EXPECT_EQ(pair.peer.subject(), "CN=client");
    }
}

TEST(Introduction, SpeaksNothingOlderThanTls12) {
    PeerSettings settings = LocalhostPeer();
    settings.oldest = TLS1_VERSION;
    settings.newest = TLS1_1_VERSION;
    const PeerContext context(settings);
    TlsPair pair(context);
    const IoResult result = pair.Handshake();
    EXPECT_EQ(result.error, TlsError(ERR_LIB_SSL, SSL_R_TLSV1_ALERT_PROTOCOL_VERSION))
        << result.error.message();
}

TEST(Introduction, OffersNeitherCompressionNorRenegotiation) {
    const auto context = ContextOf(TrustingSettings());
    const auto options = SSL_CTX_get_options(context->get());
    EXPECT_NE(options & SSL_OP_NO_RENEGOTIATION, 0U);
    EXPECT_NE(options & SSL_OP_NO_COMPRESSION, 0U);
    EXPECT_EQ(options & SSL_OP_IGNORE_UNEXPECTED_EOF, 0U);
    EXPECT_GE(SSL_CTX_get_min_proto_version(context->get()), TLS1_2_VERSION);
}

TEST(Introduction, LastsAgainstAServerOfThreads) {
    using namespace httpclient::testing;
    TlsOptions tls;
    tls.identity = Certificates::Instance().server;
    tls.clientCaPem = Certificates::Instance().ca.certificatePem();
    const TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, tls);
    TlsSettings settings = TrustingSettings();
    settings.certificate = Certificates::Instance().client.certificatePem;
    settings.key = Certificates::Instance().client.keyPem;
    Endpoint endpoint = *NumericAddress(server.address());
    SetPort(endpoint, server.port());
    Dial dial({endpoint});
    while (dial.Step(Clock::now()) == Dial::Status::Pending) {
        std::vector<pollfd> wait;
        dial.Watch(wait);
        ASSERT_EQ(poll(wait.data(), wait.size(), 30000), 1);
    }
    Channel channel(dial.Take());
    channel.StartTls(ContextOf(settings), nullptr);
    IoResult result;
    while ((result = channel.Handshake()).wants != Wants::Nothing) {
        ASSERT_TRUE(WaitFor(channel.fd(), result.wants == Wants::Read ? POLLIN : POLLOUT));
    }
    ASSERT_FALSE(result.error) << result.error.message();
    const std::string request = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const iovec piece{const_cast<char*>(request.data()), request.size()};
    EXPECT_EQ(channel.Write(&piece, 1).bytes, request.size());
    char answer[12] = {};
    while ((result = channel.Read(answer, sizeof answer)).wants == Wants::Read) {
        ASSERT_TRUE(WaitFor(channel.fd(), POLLIN));
    }
    EXPECT_EQ(std::string(answer, result.bytes), "HTTP/1.1 200");
    EXPECT_EQ(server.subjects(), std::vector<std::string>{"CN=client"});
}
