// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

#include "CurlClient.h"
#include "OpenSsl.h"
#include "RawClient.h"

namespace httpclient::testing {

namespace {

constexpr const char* PASSWORD = "secret of the key";

Reply PeerNamed(const RecordedRequest& request) {
    return Respond(200, {}, request.peerSubject);
}

/// A CA, a server of it and a client's files.
struct TlsWorld : ::testing::Test {
    CertificateAuthority ca;
    Identity identity = ca.IssueClient();
    TlsRoot root{ca.certificatePem(), identity, PASSWORD, "encrypted"};

    TlsOptions Options() const { return {ca.IssueServer(), ca.certificatePem()}; }

    /// Fetches as a client that trusts the CA of the root and checks the server's name.
    Fetched FetchTrusting(const std::string& url, const std::function<void(CURL*)>& prepare = {}) const {
        return Fetch(url, [&](CURL* handle) {
            curl_easy_setopt(handle, CURLOPT_CAINFO, root.File("trust.cer").c_str());
            if (prepare) {
                prepare(handle);
            }
        });
    }
    Fetched FetchPresenting(const std::string& url, const std::function<void(CURL*)>& prepare = {}) const {
        return FetchTrusting(url, [&](CURL* handle) {
            curl_easy_setopt(handle, CURLOPT_SSLCERT, root.File("server.cer").c_str());
            curl_easy_setopt(handle, CURLOPT_SSLKEY, root.File("server_key.pem").c_str());
            curl_easy_setopt(handle, CURLOPT_KEYPASSWD, PASSWORD);
            if (prepare) {
                prepare(handle);
            }
        });
    }
};

/// Sends a request and reads to the end. @return what OpenSSL says of that end.
int HowTheConnectionEnds(std::uint16_t port) {
    const RawClient client(port);
    const ContextPtr context(SSL_CTX_new(TLS_client_method()));
    const SslPtr ssl(SSL_new(context.get()));
    SSL_set_fd(ssl.get(), client.descriptor());
    const std::string request = "GET / HTTP/1.1\r\n\r\n";
    EXPECT_EQ(SSL_connect(ssl.get()), 1);
    EXPECT_GT(SSL_write(ssl.get(), request.data(), static_cast<int>(request.size())), 0);
    std::array<char, 4096> buffer{};
    int count = 1;
    while (count > 0) {
        count = SSL_read(ssl.get(), buffer.data(), static_cast<int>(buffer.size()));
    }
    return SSL_get_error(ssl.get(), count);
}

TEST_F(TlsWorld, ServesAClientThatPresentsItsCertificate) {
    const TlsLoopbackServer server(PeerNamed, Options());
    const Fetched fetched = FetchPresenting(server.url());
    EXPECT_EQ(fetched.code, CURLE_OK);
    EXPECT_EQ(fetched.body, "CN=client");
    EXPECT_EQ(server.subjects(), std::vector<std::string>{"CN=client"});
    EXPECT_EQ(server.handshakes(), 1U);
    EXPECT_TRUE(server.failedHandshakes().empty());
}

TEST_F(TlsWorld, DemandsACertificate) {
    const TlsLoopbackServer server(PeerNamed, Options());
    EXPECT_NE(FetchTrusting(server.url()).code, CURLE_OK);
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    EXPECT_EQ(server.failedHandshakes().front(), "peer did not return a certificate");
    EXPECT_EQ(server.handshakes(), 0U);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(TlsWorld, ServesAgainAfterAFailedHandshake) {
    const TlsLoopbackServer server(PeerNamed, Options());
    EXPECT_NE(FetchTrusting(server.url()).code, CURLE_OK);
    EXPECT_EQ(FetchPresenting(server.url()).status, 200);
}

TEST_F(TlsWorld, RefusesTheCertificateOfAnotherAuthority) {
    const Identity stranger = CertificateAuthority("Other CA").IssueClient();
    root.Replace("server.cer", stranger.certificatePem);
    root.Replace("server_key.pem", EncryptKey(stranger.keyPem, PASSWORD));
    const TlsLoopbackServer server(PeerNamed, Options());
    EXPECT_NE(FetchPresenting(server.url()).code, CURLE_OK);
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    EXPECT_EQ(server.failedHandshakes().front(),
              "certificate verify failed (unable to get local issuer certificate)");
}

TEST_F(TlsWorld, RefusesAnExpiredClientCertificate) {
    CertificateProfile profile;
    profile.commonName = "late";
    profile.use = CertificateUse::Client;
    profile.validity = Validity::Expired;
    const Identity late = ca.Issue(profile);
    root.Replace("server.cer", late.certificatePem);
    root.Replace("server_key.pem", EncryptKey(late.keyPem, PASSWORD));
    const TlsLoopbackServer server(PeerNamed, Options());
    EXPECT_NE(FetchPresenting(server.url()).code, CURLE_OK);
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    EXPECT_NE(server.failedHandshakes().front().find("certificate has expired"), std::string::npos);
}

TEST_F(TlsWorld, LetsClientsWithoutACertificateInWhenItOnlyAsks) {
    TlsOptions options = Options();
    options.clientCertificate = ClientCertificate::Request;
    const TlsLoopbackServer server(PeerNamed, options);
    EXPECT_EQ(FetchTrusting(server.url()).body, "");
    EXPECT_EQ(FetchPresenting(server.url()).body, "CN=client");
    EXPECT_EQ(server.subjects(), (std::vector<std::string>{"", "CN=client"}));
}

TEST_F(TlsWorld, NeverSeesACertificateThatItDoesNotAskFor) {
    TlsOptions options = Options();
    options.clientCertificate = ClientCertificate::Ignore;
    const TlsLoopbackServer server(PeerNamed, options);
    EXPECT_EQ(FetchPresenting(server.url()).status, 200);
    EXPECT_EQ(server.subjects(), std::vector<std::string>{""});
}

TEST_F(TlsWorld, SpeaksNoNewerVersionThanItIsTold) {
    TlsOptions options = Options();
    options.newest = NewestTls::Tls12;
    const TlsLoopbackServer old(PeerNamed, options);
    const auto wantTls13 = [](CURL* handle) {
        curl_easy_setopt(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_3));
    };
    EXPECT_EQ(FetchPresenting(old.url()).status, 200);
    EXPECT_EQ(FetchPresenting(old.url(), wantTls13).code, CURLE_SSL_CONNECT_ERROR);
    const TlsLoopbackServer current(PeerNamed, Options());
    EXPECT_EQ(FetchPresenting(current.url(), wantTls13).status, 200);
}

TEST_F(TlsWorld, ClientsSeeWhatIsWrongWithTheServersCertificate) {
    const auto codeWith = [this](const Identity& presented) {
        TlsOptions options = Options();
        options.identity = presented;
        const TlsLoopbackServer server(PeerNamed, options);
        return FetchPresenting(server.url()).code;
    };
    CertificateProfile profile;
    profile.commonName = "localhost";
    profile.addresses = {"127.0.0.1"};
    EXPECT_EQ(codeWith(ca.Issue(profile)), CURLE_OK);
    profile.validity = Validity::Expired;
    EXPECT_EQ(codeWith(ca.Issue(profile)), CURLE_PEER_FAILED_VERIFICATION);
    profile.validity = Validity::NotYetValid;
    EXPECT_EQ(codeWith(ca.Issue(profile)), CURLE_PEER_FAILED_VERIFICATION);
    profile.validity = Validity::Current;
    profile.addresses = {"127.0.0.2"};
    EXPECT_EQ(codeWith(ca.Issue(profile)), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(codeWith(CertificateAuthority("Other CA").IssueServer()), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(TlsWorld, ClosesDuringTheHandshakeWhenTold) {
    ServerOptions options;
    options.onAccept = [](unsigned int connection) {
        return connection == 1 ? OnAccept::CloseAfterHello : OnAccept::Serve;
    };
    const TlsLoopbackServer server(PeerNamed, Options(), options);
    EXPECT_EQ(FetchPresenting(server.url()).code, CURLE_SSL_CONNECT_ERROR);
    EXPECT_EQ(FetchPresenting(server.url()).status, 200);
    EXPECT_EQ(server.handshakes(), 1U);
}

TEST_F(TlsWorld, ClosesWithACloseNotificationAndCutsWithoutOne) {
    TlsOptions options = Options();
    options.clientCertificate = ClientCertificate::Ignore;
    const Reply half = Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
    ReplyScript script({Then(half, After::Close), Then(half, After::Cut), Then(half, After::Reset)});
    const TlsLoopbackServer server(script, options);
    EXPECT_EQ(HowTheConnectionEnds(server.port()), SSL_ERROR_ZERO_RETURN);
    EXPECT_EQ(HowTheConnectionEnds(server.port()), SSL_ERROR_SSL); // an unexpected end of file
    EXPECT_EQ(HowTheConnectionEnds(server.port()), SSL_ERROR_SYSCALL);
}

TEST_F(TlsWorld, CountsWhatIsNoHandshake) {
    const TlsLoopbackServer server(PeerNamed, Options());
    RawClient client(server.port());
    client.Send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    EXPECT_EQ(server.failedHandshakes().front(), "http request");
}

TEST_F(TlsWorld, StopsDuringAHandshake) {
    TlsLoopbackServer server(PeerNamed, Options());
    RawClient client(server.port());
    ASSERT_TRUE(server.WaitForConnections(1));
    server.Stop();
    EXPECT_EQ(server.failedHandshakes(), std::vector<std::string>{"connection ended"});
}

TEST_F(TlsWorld, RefusesToStartWithTheWrongKey) {
    TlsOptions options = Options();
    options.identity.keyPem = identity.keyPem;
    EXPECT_THROW(TlsLoopbackServer(PeerNamed, options), std::runtime_error);
    options.identity.keyPem = EncryptKey(identity.keyPem, PASSWORD);
    EXPECT_THROW(TlsLoopbackServer(PeerNamed, options), std::runtime_error);
}

TEST_F(TlsWorld, KeyFileNeedsItsPassword) {
    const TlsLoopbackServer server(PeerNamed, Options());
    const Fetched fetched = FetchPresenting(
        server.url(), [](CURL* handle) { curl_easy_setopt(handle, CURLOPT_KEYPASSWD, "another"); });
    EXPECT_EQ(fetched.code, CURLE_SSL_CERTPROBLEM);
}

} // namespace

} // namespace httpclient::testing
