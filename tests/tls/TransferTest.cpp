// SPDX-License-Identifier: Apache-2.0
// Requests over mutual TLS: those that succeed, and how each thing that is amiss shows.
#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include <curl/curl.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>

#include "TlsTest.h"
#include "interpose/CurlRecorder.h"
#include "setting/Callback.h"
#include "setting/HeldPlatform.h"
#include "setting/OpenedFiles.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

/// Answers with the subject of the client's certificate.
Reply TellSubject(const RecordedRequest& request) {
    return Respond(200, {}, request.peerSubject);
}

class Transfer : public TlsTest {
protected:
    /// Sends to a server. @return the status, or -1.
    int SendTo(const LoopbackServer& server) {
        PointAt(m_client, server);
        return Get(m_client, m_response);
    }
    /// Expects that a send fails with libcurl's result, and that nothing else is logged.
    void ExpectFailure(const LoopbackServer& server, CURLcode result, Lines before = {}) {
        const std::size_t seen = Logged().size();
        EXPECT_EQ(SendTo(server), -1);
        before.push_back(message::GetFailed(result));
        const Lines all = Logged();
        EXPECT_EQ(Lines(all.begin() + static_cast<std::ptrdiff_t>(seen), all.end()), before);
        EXPECT_TRUE(server.requests().empty());
    }
    /// The same for a server that was never spoken to before.
    void ExpectFailureOfNewConnection(CURLcode result) {
        TlsLoopbackServer server(TellSubject, m_tls.Server());
        ExpectFailure(server, result);
    }
    /// The same for a server with another certificate.
    void ExpectRefusalOf(const Identity& server) {
        TlsOptions options = m_tls.Server();
        options.identity = server;
        TlsLoopbackServer refused(TellSubject, options);
        ExpectFailure(refused, CURLE_PEER_FAILED_VERIFICATION);
        ExpectSound();
    }
    /// Expects that the next send to a sound server succeeds.
    void ExpectSound() {
        TlsLoopbackServer server(TellSubject, m_tls.Server());
        EXPECT_EQ(SendTo(server), 200);
        EXPECT_EQ(m_response.getResponseBody(), "CN=client");
    }

    CHttpClient m_client;
    CHttpResponse m_response;
};

/// Goes elsewhere, and back when it ends.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& path) : m_former(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() { std::filesystem::current_path(m_former); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path m_former;
};

/// The options that a connection got when it was made.
constexpr CURLoption TLS_OPTIONS[] = {CURLOPT_SSL_VERIFYPEER, CURLOPT_CAPATH,   CURLOPT_CAINFO,
                                      CURLOPT_SSL_VERIFYHOST, CURLOPT_SSLCERT,  CURLOPT_SSLCERTTYPE,
                                      CURLOPT_SSLKEY,         CURLOPT_KEYPASSWD};

std::vector<CURLoption> TlsOptionsSet(const std::vector<CURLoption>& all) {
    std::vector<CURLoption> some;
    std::copy_if(all.begin(), all.end(), std::back_inserter(some), [](CURLoption option) {
        return std::find(std::begin(TLS_OPTIONS), std::end(TLS_OPTIONS), option) != std::end(TLS_OPTIONS);
    });
    return some;
}

} // namespace

TEST_F(Transfer, PresentsTheClientsCertificateWithItsEncryptedKey) {
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "CN=client");
    EXPECT_EQ(server.subjects(), Lines{"CN=client"});
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(Transfer, WritesNeitherPasswordNorAnythingElseToTheTerminal) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    {
        TlsLoopbackServer server(TellSubject, m_tls.Server());
        EXPECT_EQ(SendTo(server), 200);
        m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret("wrong"))));
        ExpectFailureOfNewConnection(CURLE_SSL_CERTPROBLEM);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(Transfer, SpeaksTls12Too) {
    TlsOptions options = m_tls.Server();
    options.newest = NewestTls::Tls12;
    TlsLoopbackServer server(TellSubject, options);
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "CN=client");
}

TEST_F(Transfer, UsesTheSameConnectionWithoutReadingTheManifestAgain) {
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    EXPECT_EQ(SendTo(server), 200);
    m_tls.root().Remove("manifest.json");
    const OpenedFiles opened;
    const HeldPlatform platform;
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(opened.Paths(), Lines{});
    EXPECT_TRUE(platform.Decryptions().empty());
    EXPECT_EQ(server.handshakes(), 1U);
}

TEST_F(Transfer, KeepsItsOptionsForANewHandshake) {
    // The connection was made with what was found then; files of that name are read at each handshake.
    ReplyScript script({Then(Respond(200), After::Close), Respond(200)});
    TlsLoopbackServer server(script, m_tls.Server());
    EXPECT_EQ(SendTo(server), 200);
    ASSERT_TRUE(server.WaitForOpenConnections(0));
    m_tls.root().Remove("manifest.json");
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(server.handshakes(), 2U);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(Transfer, FailsAsLongAsAConnectionMadeWithoutItsPasswordLives) {
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    m_tls.root().Remove("manifest.json");
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM, {message::NO_CIPHER_TEXT, message::NoPlainText(10)});
    m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(TlsSetting::Password())));
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM);
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM);
    ClosePool(); // as the sweep does with a connection that was idle for long enough
    EXPECT_EQ(SendTo(server), 200);
}

TEST_F(Transfer, AcceptsAServerUnderAnotherName) {
    TlsOptions options = m_tls.Server();
    CertificateProfile profile;
    profile.commonName = "elsewhere.example";
    profile.names = {"elsewhere.example"};
    options.identity = m_tls.ca().Issue(profile);
    TlsLoopbackServer server(TellSubject, options);
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(Transfer, RefusesAServerOfAnUntrustedCa) {
    ExpectRefusalOf(CertificateAuthority("Another CA").IssueServer());
}

TEST_F(Transfer, RefusesAServerOfAnotherCaOfTheSameName) {
    ExpectRefusalOf(CertificateAuthority().IssueServer());
}

TEST_F(Transfer, RefusesAnExpiredServer) {
    CertificateProfile profile;
    profile.commonName = "localhost";
    profile.addresses = {"127.0.0.1"};
    profile.validity = Validity::Expired;
    ExpectRefusalOf(m_tls.ca().Issue(profile));
}

TEST_F(Transfer, RefusesAServerWhoseTimeHasNotCome) {
    CertificateProfile profile;
    profile.commonName = "localhost";
    profile.validity = Validity::NotYetValid;
    ExpectRefusalOf(m_tls.ca().Issue(profile));
}

TEST_F(Transfer, FailsWithAWrongPassword) {
    m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret("wrong"))));
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM);
    // The connection keeps its password; a new one, to another server, takes the right one.
    m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(TlsSetting::Password())));
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM);
    ExpectSound();
}

TEST_F(Transfer, FailsWithoutAPassword) {
    m_tls.root().Remove("manifest.json");
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    HeldPlatform platform;
    platform.AnswerDecryption(5, "");
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM, {message::NO_CIPHER_TEXT, message::NoPlainText(5)});
}

TEST_F(Transfer, FailsWithoutAnExceptionWhenTheCipherThrows) {
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    {
        HeldPlatform platform;
        platform.OnDecryption([] { throw std::runtime_error("no keys today"); });
        EXPECT_EQ(SendTo(server), -1);
        EXPECT_EQ(platform.Decryptions().size(), 1U);
    }
    EXPECT_EQ(Logged(), Lines{"[5] HTTP synSendRequest catch an exception."});
    EXPECT_EQ(SendTo(server), 200); // the pool is not left locked, nor with half a connection
    EXPECT_EQ(CHttpConnectionMgr::Instance()->GetConnList(server.authority(), true)->size(), 1U);
}

TEST_F(Transfer, NeedsNoPasswordForAKeyThatIsNotEncrypted) {
    m_tls.root().Replace("server_key.pem", m_tls.client().keyPem);
    m_tls.root().Replace("manifest.json", "{}");
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "CN=client");
}

TEST_F(Transfer, FailsWithTheKeyOfAnotherCertificate) {
    const std::string other = m_tls.ca().IssueClient("other").keyPem;
    m_tls.root().Replace("server_key.pem", EncryptKey(other, TlsSetting::Password()));
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM);
    m_tls.root().Replace("server_key.pem", EncryptKey(m_tls.client().keyPem, TlsSetting::Password()));
    EXPECT_EQ(SendTo(server), 200); // over the very same connection
}

TEST_F(Transfer, FailsWhenAFileIsMissing) {
    const std::pair<const char*, CURLcode> rows[] = {{"trust.cer", CURLE_SSL_CACERT_BADFILE},
                                                     {"server.cer", CURLE_SSL_CERTPROBLEM},
                                                     {"server_key.pem", CURLE_SSL_CERTPROBLEM}};
    for (const auto& [file, result] : rows) {
        const TlsSetting damaged;
        damaged.root().Remove(file);
        TlsLoopbackServer server(TellSubject, damaged.Server());
        ExpectFailure(server, result);
    }
    ExpectSound();
}

TEST_F(Transfer, FailsOnlyAtTheTransferWhenEveryFileIsMissing) {
    const ScopedEnvironment root("SSL_ROOT", m_tls.root().path() + "/nowhere");
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    HeldPlatform platform;
    platform.AnswerDecryption(5, "");
    ExpectFailure(server, CURLE_SSL_CERTPROBLEM, {message::NO_CIPHER_TEXT, message::NoPlainText(5)});
    EXPECT_EQ(server.handshakes(), 0U);
}

TEST_F(Transfer, FindsItsFilesBelowTheWorkingDirectoryWithoutARoot) {
    m_tls.root().Replace("server_key.pem", m_tls.client().keyPem);
    const WorkingDirectory directory(m_tls.root().path());
    const ScopedEnvironment unset("SSL_ROOT");
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "CN=client");
    ASSERT_FALSE(Logged().empty());
    EXPECT_EQ(Logged().front(), message::NO_CIPHER_TEXT); // the manifest is not below it
}

TEST_F(Transfer, IsRefusedWithACertificateOfAnotherCa) {
    TlsOptions options = m_tls.Server();
    options.clientCaPem = CertificateAuthority("Another CA").certificatePem();
    options.newest = NewestTls::Tls12; // in 1.3 the refusal comes later, as a failed read
    TlsLoopbackServer server(TellSubject, options);
    EXPECT_EQ(SendTo(server), -1);
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    EXPECT_TRUE(server.requests().empty());
    EXPECT_EQ(Logged().size(), 1U);
    ExpectSound();
}

TEST_F(Transfer, IsRefusedWithAnExpiredCertificate) {
    m_tls.ExpireClient();
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    EXPECT_EQ(SendTo(server), -1);
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Transfer, SurvivesAServerThatClosesDuringTheHandshake) {
    ServerOptions options;
    options.onAccept = [](unsigned int connection) {
        return connection == 1 ? OnAccept::CloseAfterHello : OnAccept::Serve;
    };
    TlsLoopbackServer server(TellSubject, m_tls.Server(), options);
    ExpectFailure(server, CURLE_SSL_CONNECT_ERROR);
    EXPECT_EQ(SendTo(server), 200);
}

TEST_F(Transfer, CarriesAMegabyteBothWays) {
    TlsLoopbackServer server([](const RecordedRequest& request) { return Respond(200, {}, request.body); },
                             m_tls.Server());
    PointAt(m_client, server);
    std::string body(std::size_t{1} << 20, 'x');
    for (std::size_t i = 0; i < body.size(); ++i) {
        body[i] = static_cast<char>(1 + i % 255); // the transfer takes it for a text that a NUL ends
    }
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_POST);
    request.setUrlPath("/");
    request.setContent(body);
    EXPECT_EQ(m_client.synSendRequest(request, m_response, true), 200);
    EXPECT_TRUE(m_response.getResponseBody() == body);
}

TEST_F(Transfer, FindsNoneOfTheTlsOptionsAfterAnAsynchronousOne) {
    TlsOptions options = m_tls.Server();
    options.clientCertificate = ClientCertificate::Request;
    TlsLoopbackServer server(TellSubject, options);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/");

    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(m_response.getResponseBody(), "CN=client");

    const CurlRecorder recorder;
    const AsynResult result = AsynSend(m_client, request, true);
    EXPECT_EQ(result.status, 200);
    EXPECT_EQ(result.body, ""); // no certificate was presented
    EXPECT_EQ(recorder.Events(CurlCall::EasyReset).size(), 1U);
    EXPECT_EQ(TlsOptionsSet(recorder.Options()),
              (std::vector<CURLoption>{CURLOPT_SSL_VERIFYPEER, CURLOPT_SSL_VERIFYHOST}));
    EXPECT_EQ(recorder.Last(CURLOPT_SSL_VERIFYPEER)->number, 0);
    EXPECT_EQ(recorder.Last(CURLOPT_SSL_VERIFYHOST)->number, 0);
    EXPECT_TRUE(recorder.Events(CurlCall::EasyInit).empty()); // it is the same connection
}

TEST_F(Transfer, ThatDemandsACertificateFailsAfterAnAsynchronousOne) {
    TlsLoopbackServer server(TellSubject, m_tls.Server());
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/");
    EXPECT_EQ(SendTo(server), 200);
    EXPECT_EQ(AsynSend(m_client, request, true).status, 0);
    EXPECT_EQ(SendTo(server), -1);
    const CurlRecorder recorder;
    EXPECT_EQ(SendTo(server), -1);
    EXPECT_EQ(TlsOptionsSet(recorder.Options()), std::vector<CURLoption>{});
    EXPECT_EQ(server.requests().size(), 1U);
    ASSERT_TRUE(server.WaitForFailedHandshakes(1));
    ExpectSound(); // another server gets a connection of its own
}
