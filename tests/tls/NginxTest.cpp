// SPDX-License-Identifier: Apache-2.0
// Mutual TLS with a server of another make.
#include "tests/support/Nginx.h"

#include <curl/curl.h>

#include "TlsTest.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

constexpr const char* TELL_SUBJECT = "location / { return 200 $ssl_client_verify:$ssl_client_s_dn; }";

class Nginx : public TlsTest {
protected:
    void SetUp() override { SKIP_WITHOUT_NGINX(); }

    /// Sends to a server. @return the status, or -1.
    int SendTo(const NginxServer& server) {
        PointAt(m_client, server);
        return Get(m_client, m_response);
    }
    /// Sends to a server that takes the client's certificate.
    void ExpectWelcome(const TlsOptions& tls) {
        const NginxServer server(tls, TELL_SUBJECT);
        EXPECT_EQ(SendTo(server), 200);
        EXPECT_EQ(m_response.getResponseBody(), "SUCCESS:CN=client");
        EXPECT_EQ(Logged(), Lines{});
    }
    /// Sends to a server that does not take the client's certificate. It says so within HTTP.
    void ExpectRefusal(const TlsOptions& tls) {
        const NginxServer server(tls, TELL_SUBJECT);
        EXPECT_EQ(SendTo(server), 400);
        EXPECT_NE(m_response.getResponseBody().find("SSL certificate error"), std::string::npos);
        EXPECT_EQ(Logged(), Lines{});
    }
    /// Sends to a server that is never spoken to.
    void ExpectFailure(const TlsOptions& tls, CURLcode result) {
        const NginxServer server(tls, TELL_SUBJECT);
        EXPECT_EQ(SendTo(server), -1);
        EXPECT_EQ(Logged(), Lines{message::GetFailed(result)});
    }
    /// @return how a server does TLS that presents a certificate of our CA.
    TlsOptions ServerWith(const CertificateProfile& profile) const {
        TlsOptions options = m_tls.Server();
        options.identity = m_tls.ca().Issue(profile);
        return options;
    }

    CHttpClient m_client;
    CHttpResponse m_response;
};

} // namespace

TEST_F(Nginx, TakesTheClientsCertificateWithItsEncryptedKey) {
    ExpectWelcome(m_tls.Server());
}

TEST_F(Nginx, ServesSeveralRequestsOverOneConnection) {
    const NginxServer server(m_tls.Server(), "location / { return 200 $connection:$connection_requests; }");
    EXPECT_EQ(SendTo(server), 200);
    const std::string first = m_response.getResponseBody();
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(first.substr(first.find(':')), ":1");
    EXPECT_EQ(m_response.getResponseBody(), first.substr(0, first.find(':')) + ":2");
}

TEST_F(Nginx, IsSpokenToInHttp2WhenItOffersThat) {
    const NginxServer server(m_tls.Server(), "location / { return 200 $server_protocol:$ssl_client_s_dn; }",
                             "ssl http2");
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "HTTP/2.0:CN=client");
    EXPECT_EQ(m_response.getResponseHead().substr(0, 11), "HTTP/2 200 ");
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(Nginx, IsTakenUnderAnotherName) {
    CertificateProfile profile;
    profile.commonName = "elsewhere.example";
    profile.names = {"elsewhere.example"};
    ExpectWelcome(ServerWith(profile));
}

TEST_F(Nginx, IsNotTakenOfAnotherCa) {
    TlsOptions options = m_tls.Server();
    options.identity = CertificateAuthority("Another CA").IssueServer();
    ExpectFailure(options, CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(Nginx, IsNotTakenWhenItsCertificateHasExpired) {
    CertificateProfile profile;
    profile.commonName = "localhost";
    profile.validity = Validity::Expired;
    ExpectFailure(ServerWith(profile), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(Nginx, IsVerifiedAtEachFullHandshake) {
    const NginxServer server(m_tls.Server(), std::string("keepalive_timeout 0; ssl_session_cache off; ") +
                                                 "ssl_session_tickets off; " + TELL_SUBJECT);
    EXPECT_EQ(SendTo(server), 200);
    m_tls.root().Replace("trust.cer", CertificateAuthority("Another CA").certificatePem());
    EXPECT_EQ(SendTo(server), -1);
    EXPECT_EQ(Logged(), Lines{message::GetFailed(CURLE_PEER_FAILED_VERIFICATION)});
    m_tls.root().Replace("trust.cer", m_tls.ca().certificatePem());
    EXPECT_EQ(SendTo(server), 200);
}

TEST_F(Nginx, IsNotVerifiedAgainWhenItResumesItsSession) {
    const NginxServer server(m_tls.Server(),
                             "keepalive_timeout 0; location / { return 200 $ssl_session_reused; }");
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), ".");
    m_tls.root().Replace("trust.cer", CertificateAuthority("Another CA").certificatePem());
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "r");
}

TEST_F(Nginx, RefusesACertificateOfAnotherCa) {
    TlsOptions options = m_tls.Server();
    options.clientCaPem = CertificateAuthority("Another CA").certificatePem();
    ExpectRefusal(options);
}

TEST_F(Nginx, RefusesAnExpiredCertificate) {
    m_tls.ExpireClient();
    ExpectRefusal(m_tls.Server());
}

TEST_F(Nginx, IsNotReachedWithAWrongPassword) {
    m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret("wrong"))));
    ExpectFailure(m_tls.Server(), CURLE_SSL_CERTPROBLEM);
}

TEST_F(Nginx, IsNotReachedWithTheKeyOfAnotherCertificate) {
    const std::string other = m_tls.ca().IssueClient("other").keyPem;
    m_tls.root().Replace("server_key.pem", EncryptKey(other, TlsSetting::Password()));
    ExpectFailure(m_tls.Server(), CURLE_SSL_CERTPROBLEM);
}

TEST_F(Nginx, IsNotReachedOverTlsWhenItSpeaksNone) {
    const NginxServer server(m_tls.Server(), TELL_SUBJECT, "");
    EXPECT_EQ(SendTo(server), -1);
    EXPECT_EQ(Logged(), Lines{message::GetFailed(CURLE_SSL_CONNECT_ERROR)});
}
