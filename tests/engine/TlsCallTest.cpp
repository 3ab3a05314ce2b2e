// SPDX-License-Identifier: Apache-2.0
// Verified TLS, always; sessions and connections under an equal key alone.
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include <poll.h>

#include <openssl/err.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "engine/ClientCore.h"
#include "engine/Connecting.h"
#include "engine/Options.h"
#include "net/SessionCache.h"
#include "net/TlsContext.h"
#include "net/TlsMaterial.h"
#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"
#include "setting/TlsSetting.h"

namespace {

class TlsCall : public EngineTest {
protected:
    kit::TlsOptions ServerTls(kit::NewestTls newest = kit::NewestTls::Tls13) const {
        kit::TlsOptions tls;
        tls.identity = m_ca.IssueServer();
        tls.clientCaPem = m_ca.certificatePem();
        tls.clientCertificate = kit::ClientCertificate::Request;
        tls.newest = newest;
        return tls;
    }
    TlsOptions Trust() const { return TlsOptions().memory(m_ca.certificatePem()); }
    TlsOptions TrustAs(const std::string& name) const {
        const kit::Identity client = m_ca.IssueClient(name);
        return TlsOptions().memory(m_ca.certificatePem(), client.certificatePem, client.keyPem);
    }
    Client ClientOf(const kit::LoopbackServer& server, const TlsOptions& tls) {
        return EngineTest::ClientOf(OptionsFor(server).tls(tls));
    }
    /// Sends a GET to a server with this certificate.
    std::string SendTo(const kit::CertificateProfile& profile, const TlsOptions& tls,
                       const std::string& origin = "") {
        kit::TlsOptions server = ServerTls();
        server.identity = m_ca.Issue(profile);
        kit::TlsLoopbackServer loopback(Always(), server);
        ClientOptions options = OptionsFor(origin.empty() ? loopback.url("") : origin).tls(tls);
        if (!origin.empty()) {
            options.connectTo(loopback.authority());
        }
        const Result result = EngineTest::ClientOf(options).Send(Get());
        EXPECT_EQ(loopback.requests().size(), result ? 1U : 0U) << "not a byte goes to who is not trusted";
        return result ? Told(result) : Told(result) + ": " + result.failure().code().message();
    }

    const kit::CertificateAuthority m_ca;
};

kit::CertificateProfile Named(std::vector<std::string> names, std::vector<std::string> addresses = {}) {
    kit::CertificateProfile profile;
    profile.commonName = "127.0.0.1";
    profile.names = std::move(names);
    profile.addresses = std::move(addresses);
    return profile;
}

} // namespace

TEST_F(TlsCall, IsAnsweredOverAVerifiedConnectionThatIsKept) {
    for (const kit::NewestTls newest : {kit::NewestTls::Tls12, kit::NewestTls::Tls13}) {
        kit::TlsLoopbackServer server(Always(), ServerTls(newest));
        const Client client = ClientOf(server, TrustAs("someone"));
        const Result first = client.Send(Get());
        EXPECT_EQ(ToldFully(first), "200 answer, attempts 1");
        EXPECT_GT(first->timings().of(Phase::Handshake), 0ns);
        EXPECT_EQ(ToldFully(client.Send(Post())), "200 answer, attempts 1, reused") << "tickets are not data";
        EXPECT_EQ(server.requests().at(1).peerSubject, "CN=someone");
    }
}

TEST_F(TlsCall, IsCountedByFullAndResumedHandshakesThatSucceed) {
    kit::TlsLoopbackServer server(Always(), ServerTls());
    const Client client = ClientOf(server, Trust());
    for (int call = 0; call < 3; ++call) {
        ASSERT_TRUE(client.Send(Get()));
        ASSERT_TRUE(client.Send(Get())) << "over the same connection";
        m_engine.CloseIdleConnections();
    }
    ASSERT_FALSE(
        ClientOf(server, TlsOptions().memory(kit::CertificateAuthority().certificatePem())).Send(Get()));
    const EngineStatistics statistics = m_engine.statistics();
    const auto handshakes = [&](const std::string& resumed) {
        return statistics.sum("httpclient_tls_handshakes_total",
                              {{"origin", server.url("")}, {"resumed", resumed}});
    };
    EXPECT_EQ(handshakes("false"), 1);
    EXPECT_EQ(handshakes("true"), 2);
    EXPECT_EQ(statistics.sum("httpclient_tls_handshakes_total"), 3);
}

TEST_F(TlsCall, CarriesLongBodiesBothWays) {
    std::string content(3UL * 1000 * 1000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 31 / 7);
    }
    kit::TlsLoopbackServer server(
        [](const kit::RecordedRequest& request) { return kit::Respond(200, {}, request.body); }, ServerTls());
    const Client client = ClientOf(server, Trust());
    for (int call = 0; call < 3; ++call) {
        EXPECT_TRUE(Told(client.Send(Post(content))) == "200 " + content);
    }
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_F(TlsCall, RefusesACertificateOfAnotherName) {
    EXPECT_EQ(SendTo(Named({"other.example"}), Trust()), "Tls in Handshake: IP address mismatch");
    EXPECT_EQ(SendTo(Named({"other.example"}), Trust(), "https://service.example"),
              "Tls in Handshake: hostname mismatch");
    EXPECT_EQ(SendTo(Named({"service.example"}), Trust(), "https://service.example"), "200 answer");
    EXPECT_EQ(SendTo(Named({"*.service.example"}), Trust(), "https://a.service.example"), "200 answer");
    EXPECT_EQ(SendTo(Named({}), Trust()), "Tls in Handshake: IP address mismatch")
        << "the common name is none";
}

TEST_F(TlsCall, ExpectsTheNameThatTheHostSays) {
    EXPECT_EQ(SendTo(Named({"other.example"}), Trust().serverName("other.example")), "200 answer");
    EXPECT_EQ(SendTo(Named({}, {"127.0.0.1"}), Trust().serverName("other.example")),
              "Tls in Handshake: hostname mismatch");
    EXPECT_EQ(SendTo(Named({"other.example"}), Trust().verifyHost(false)), "200 answer");
}

TEST_F(TlsCall, RefusesAnAuthorityThatIsNotTrusted) {
    const kit::CertificateAuthority other("Other CA");
    const TlsOptions tls = TlsOptions().memory(other.certificatePem());
    EXPECT_EQ(SendTo(Named({}, {"127.0.0.1"}), tls),
              "Tls in Handshake: self-signed certificate in certificate chain");
    EXPECT_EQ(SendTo(Named({}, {"127.0.0.1"}), TlsOptions(tls).verifyHost(false)),
              "Tls in Handshake: self-signed certificate in certificate chain")
        << "the chain is always verified";
}

TEST_F(TlsCall, RefusesACertificateOutsideItsTime) {
    kit::CertificateProfile profile = Named({}, {"127.0.0.1"});
    profile.validity = kit::Validity::Expired;
    EXPECT_EQ(SendTo(profile, Trust()), "Tls in Handshake: certificate has expired");
    profile.validity = kit::Validity::NotYetValid;
    EXPECT_EQ(SendTo(profile, Trust()), "Tls in Handshake: certificate is not yet valid");
}

TEST_F(TlsCall, RefusesAClientsCertificateForAServer) {
    kit::CertificateProfile profile = Named({}, {"127.0.0.1"});
    profile.use = kit::CertificateUse::Client;
    EXPECT_EQ(SendTo(profile, Trust()).substr(0, 16), "Tls in Handshake");
}

TEST_F(TlsCall, IsToldThatItsCertificateIsRefused) {
    for (const kit::NewestTls newest : {kit::NewestTls::Tls12, kit::NewestTls::Tls13}) {
        kit::TlsOptions tls = ServerTls(newest);
        tls.clientCertificate = kit::ClientCertificate::Demand;
        kit::TlsLoopbackServer server(Always(), tls);
        const kit::CertificateAuthority other("Other CA");
        const kit::Identity foreign = other.IssueClient();
        const TlsOptions refused =
            TlsOptions().memory(m_ca.certificatePem(), foreign.certificatePem, foreign.keyPem);
        for (const TlsOptions& each : {Trust(), refused}) {
            const std::string told = ToldFully(ClientOf(server, each).Send(Get()));
            if (newest == kit::NewestTls::Tls12) {
                EXPECT_EQ(told, "Tls in Handshake, not sent, attempts 1");
            } else { // after the handshake; a quick server refuses before anything is sent
                EXPECT_TRUE(told == "Tls in Head, sent, attempts 1" ||
                            told == "Tls in Send, not sent, attempts 1")
                    << told;
            }
        }
        EXPECT_EQ(Told(ClientOf(server, TrustAs("one")).Send(Get())), "200 answer");
        EXPECT_EQ(server.requests().size(), 1U);
    }
}

TEST_F(TlsCall, IsToldThatItsCertificateIsRefusedWhileABodyGoesUp) {
    kit::TlsOptions tls = ServerTls();
    tls.clientCertificate = kit::ClientCertificate::Demand;
    kit::TlsLoopbackServer server(Always(), tls);
    const Client client = ClientOf(server, Trust());
    int told = 0;
    for (int call = 0; call < 20; ++call) {
        const Result result = client.Send(Post(std::string(8UL * 1024 * 1024, 'x')));
        ASSERT_FALSE(static_cast<bool>(result));
        // A reset may overtake the alert where nobody can read it any more.
        told += result.failure().kind() == FailureKind::Tls ? 1 : 0;
    }
    EXPECT_GT(told, 0);
}

TEST_F(TlsCall, NeverSpeaksPlainAndNeverTakesPlain) {
    ScriptedServer plain([](Peer& peer) {
        peer.ExpectBytes(1);
        peer.Send("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
        peer.ExpectEnd();
    });
    const Client toPlain =
        EngineTest::ClientOf(OptionsFor("https://127.0.0.1:" + std::to_string(plain.port())).tls(Trust()));
    EXPECT_EQ(ToldFully(toPlain.Send(Get())), "Tls in Handshake, not sent, attempts 1");
    ASSERT_TRUE(plain.WaitForEnds(1));
    EXPECT_EQ(plain.received().at(0).find("GET"), std::string::npos);
    kit::TlsLoopbackServer server(Always(), ServerTls());
    const Result result = EngineTest::ClientOf(OptionsFor("http://" + server.authority())).Send(Get());
    EXPECT_FALSE(static_cast<bool>(result)) << Told(result);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(TlsCall, EndsInTheHandshakeWhereTheServerGoes) {
    for (const kit::OnAccept way :
         {kit::OnAccept::Close, kit::OnAccept::Reset, kit::OnAccept::CloseAfterHello}) {
        kit::ServerOptions options;
        options.onAccept = [way](unsigned int) { return way; };
        kit::TlsLoopbackServer server(Always(), ServerTls(), options);
        const std::string told = ToldFully(ClientOf(server, Trust()).Send(Post()));
        const bool quickReset =
            way == kit::OnAccept::Reset && told == "Connect in Connect, not sent, retryable, attempts 1";
        EXPECT_TRUE(quickReset || told == "Tls in Handshake, not sent, attempts 1") << told;
    }
}

TEST_F(TlsCall, TakesABodyThatEndsWithTheConnectionOnlyWithItsNotice) {
    const auto send = [&](const kit::Reply& reply) {
        kit::TlsLoopbackServer server([&](const kit::RecordedRequest&) { return reply; }, ServerTls());
        return Told(ClientOf(server, Trust()).Send(Get()));
    };
    const kit::Reply untilClose = kit::RespondUntilClose(200, {}, "whole?");
    EXPECT_EQ(send(untilClose), "200 whole?");
    EXPECT_EQ(send(kit::Then(untilClose, kit::After::Cut)), "ConnectionLost in Body");
    EXPECT_EQ(send(kit::Then(untilClose, kit::After::Reset)), "ConnectionLost in Body");
    EXPECT_EQ(send(kit::Then(kit::Respond(200, {}, "whole"), kit::After::Cut)), "200 whole")
        << "its length says that it is whole";
    EXPECT_EQ(send(kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", kit::After::Cut)),
              "ConnectionLost in Body");
    EXPECT_EQ(send(kit::Silence(kit::After::Cut)), "ConnectionLost in Head");
    EXPECT_EQ(send(kit::Silence(kit::After::Close)), "ConnectionLost in Head");
}

TEST_F(TlsCall, UsesNoKeptConnectionThatTheServerEnded) {
    for (const kit::After after : {kit::After::Close, kit::After::Cut, kit::After::Reset}) {
        kit::TlsLoopbackServer server(
            [&](const kit::RecordedRequest&) { return kit::Then(kit::Respond(200, {}, "answer"), after); },
            ServerTls());
        const Client client = ClientOf(server, Trust());
        for (int call = 0; call < 3; ++call) {
            ASSERT_EQ(ToldFully(client.Send(Post())), "200 answer, attempts 1");
            ASSERT_TRUE(server.WaitForOpenConnections(0));
        }
    }
}

TEST_F(TlsCall, ReplacesAKeptConnectionThatDiesOnceForAGet) {
    std::atomic<int> requests{0};
    kit::TlsLoopbackServer server(
        [&](const kit::RecordedRequest&) {
            return ++requests == 2 ? kit::Silence(kit::After::Cut) : kit::Respond(200, {}, "answer");
        },
        ServerTls());
    const Client client = ClientOf(server, Trust());
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
    EXPECT_EQ(server.connectionsAccepted(), 2U);
}

TEST_F(TlsCall, UsesThePlatformsMaterialByDefault) {
    const TlsSetting platform;
    kit::TlsLoopbackServer server(Always(), platform.Server());
    EXPECT_EQ(Told(EngineTest::ClientOf(OptionsFor(server)).Send(Get())), "200 answer");
    EXPECT_EQ(server.requests().at(0).peerSubject, "CN=client");
}

TEST_F(TlsCall, FailsWherePlatformsMaterialIsMissing) {
    const kit::ScopedEnvironment root("SSL_ROOT", "/nowhere");
    kit::TlsLoopbackServer server(Always(), ServerTls());
    EXPECT_EQ(ToldFully(EngineTest::ClientOf(OptionsFor(server)).Send(Get())),
              "Tls in Handshake, not sent, attempts 1");
}

TEST_F(TlsCall, TakesFilesThatComeLater) {
    const kit::TemporaryDirectory files;
    const std::string authorities = files.path() / "ca.pem";
    kit::TlsLoopbackServer server(Always(), ServerTls());
    const Client client = ClientOf(server, TlsOptions().files(authorities));
    const Result result = client.Send(Get());
    EXPECT_EQ(ToldFully(result), "Tls in Handshake, not sent, attempts 1");
    EXPECT_NE(result.failure().message().find(authorities), std::string::npos) << result.failure().message();
    files.Write("ca.pem", m_ca.certificatePem());
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
}

TEST_F(TlsCall, PicksUpNewFilesWithoutARestart) {
    const kit::TemporaryDirectory files;
    const auto write = [&](const std::string& name) {
        const kit::Identity identity = m_ca.IssueClient(name);
        files.Write("cert.pem", identity.certificatePem);
        files.Write("key.pem", identity.keyPem);
    };
    files.Write("ca.pem", m_ca.certificatePem());
    write("old");
    kit::TlsLoopbackServer server(
        [](const kit::RecordedRequest& request) { return kit::Respond(200, {}, request.peerSubject); },
        ServerTls());
    const Client client =
        ClientOf(server, TlsOptions().files(files.path() / "ca.pem", files.path() / "cert.pem",
                                            files.path() / "key.pem"));
    EXPECT_EQ(Told(client.Send(Get())), "200 CN=old");
    kit::TraceRecorder::Instance().Clear();
    files.Write("key.pem", m_ca.IssueClient("mismatched").keyPem);
    EXPECT_TRUE(Becomes([&] {
        EXPECT_EQ(Told(client.Send(Get())), "200 CN=old")
            << "a pair that does not match leaves the old in use";
        return kit::TraceRecorder::Instance().CountContaining("changed TLS material cannot be used") > 0;
    }));
    write("new");
    const auto taken = TimeOf([&] {
        EXPECT_TRUE(Becomes([&] {
            const std::string told = Told(client.Send(Get()));
            EXPECT_TRUE(told == "200 CN=old" || told == "200 CN=new") << told;
            return told == "200 CN=new";
        }));
    });
    EXPECT_LT(taken, 2s + TOLERANCE) << "noticed within two seconds";
    EXPECT_EQ(m_engine.statistics().sum("httpclient_connections_closed_total", {{"reason", "age"}}), 1);
}

TEST_F(TlsCall, AsksForTheKeysPasswordOncePerReadingAndRefusesAWrongOne) {
    const kit::Identity identity = m_ca.IssueClient("locked");
    const std::string locked = kit::EncryptKey(identity.keyPem, "secret");
    int asked = 0;
    TlsOptions tls = TlsOptions().memory(m_ca.certificatePem(), identity.certificatePem, locked);
    tls.keyPassword([&] {
        ++asked;
        return std::string("secret");
    });
    kit::TlsLoopbackServer server(
        [](const kit::RecordedRequest& request) {
            return kit::Then(kit::Respond(200, {}, request.peerSubject), kit::After::Close);
        },
        ServerTls());
    const Client client = ClientOf(server, tls);
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(Told(client.Send(Get())), "200 CN=locked");
    }
    EXPECT_LE(asked, 2) << "where the client is made, and not once per connection";
    EXPECT_THROW(ClientOf(server, TlsOptions(tls).keyPassword([] { return std::string("wrong"); })),
                 std::invalid_argument);
    EXPECT_THROW(ClientOf(server, TlsOptions(tls).keyPassword([]() -> std::string { throw 1; })),
                 std::invalid_argument);
    const kit::TemporaryDirectory files;
    TlsOptions fromFiles =
        TlsOptions().files(files.Write("ca.pem", m_ca.certificatePem()),
                           files.Write("cert.pem", identity.certificatePem), files.Write("key.pem", locked));
    fromFiles.keyPassword([]() -> std::string { throw std::runtime_error("no password"); });
    EXPECT_EQ(Told(ClientOf(server, fromFiles).Send(Get())), "Tls in Handshake");
}

namespace {

/// A call whose key password function keeps it until it is told.
class TlsCallInItsPasswordFunction : public TlsCall {
protected:
    TlsCallInItsPasswordFunction() { m_asked.Wait(); }
    ~TlsCallInItsPasswordFunction() override { m_told.Come(); }

    std::future<std::string> InBackground() {
        return std::async(std::launch::async, [this] { return Told(m_client.Send(Get())); });
    }

private:
    TlsOptions WithSlowPassword() {
        const kit::Identity identity = m_ca.IssueClient("locked");
        return TlsOptions()
            .files(m_files.Write("ca.pem", m_ca.certificatePem()),
                   m_files.Write("cert.pem", identity.certificatePem),
                   m_files.Write("key.pem", kit::EncryptKey(identity.keyPem, "secret")))
            .keyPassword([this] {
                m_asked.Come();
                m_told.Wait();
                return std::string("secret");
            });
    }

    const kit::TemporaryDirectory m_files;
    Moment m_asked;

protected:
    Moment m_told;
    kit::TlsLoopbackServer m_server{Always(), ServerTls()};
    const Client m_client = ClientOf(m_server, WithSlowPassword());
    std::future<std::string> m_first = InBackground();
};

} // namespace

TEST_F(TlsCallInItsPasswordFunction, HoldsNoOtherUpBeyondItsTime) {
    std::string told;
    EXPECT_LT(TimeOf([&] { told = ToldFully(m_client.Send(Get().timeout(30ms))); }), 30ms + TOLERANCE);
    EXPECT_EQ(told, "Timeout in Handshake, not sent, retryable, attempts 1");
    Result outcome = m_client.SendAsync(Get().timeout(30ms)).get();
    EXPECT_EQ(Told(outcome), "Timeout in Handshake");
    std::future<Result> third = m_client.SendAsync(Get());
    std::future<std::string> fourth = InBackground();
    m_told.Come();
    EXPECT_EQ(m_first.get(), "200 answer");
    EXPECT_EQ(Told(third.get()), "200 answer");
    EXPECT_EQ(fourth.get(), "200 answer");
}

TEST_F(TlsCallInItsPasswordFunction, DoesNotKeepAnotherWhenTheEngineEnds) {
    std::future<std::string> second = InBackground();
    ASSERT_TRUE(m_server.WaitForOpenConnections(2));
    std::future<bool> ended = std::async(std::launch::async, [&] { return m_engine.Shutdown(0ms); });
    EXPECT_EQ(second.get().substr(0, 8), "Shutdown");
    m_told.Come();
    EXPECT_EQ(m_first.get(), "Shutdown in Handshake");
    EXPECT_FALSE(ended.get());
}

TEST_F(TlsCall, RefusesTextsThatAreWrongWhereTheClientIsMade) {
    const kit::Identity one = m_ca.IssueClient("one");
    const kit::Identity two = m_ca.IssueClient("two");
    const ClientOptions options("https://127.0.0.1:1");
    const auto refusal = [&](const TlsOptions& tls) {
        try {
            EngineTest::ClientOf(ClientOptions(options).tls(tls));
        } catch (const std::invalid_argument& refused) {
            return std::string(refused.what());
        }
        return std::string("taken");
    };
    EXPECT_EQ(refusal(TlsOptions().memory(m_ca.certificatePem(), one.certificatePem, one.keyPem)), "taken");
    EXPECT_NE(refusal(TlsOptions().memory("nonsense")), "taken");
    EXPECT_NE(refusal(TlsOptions().memory(m_ca.certificatePem(), "nonsense", one.keyPem)), "taken");
    EXPECT_NE(refusal(TlsOptions().memory(m_ca.certificatePem(), one.certificatePem, "nonsense")), "taken");
    EXPECT_NE(refusal(TlsOptions().memory(m_ca.certificatePem(), one.certificatePem, two.keyPem)), "taken");
    const std::string told =
        refusal(TlsOptions().memory(m_ca.certificatePem(), one.certificatePem, two.keyPem));
    EXPECT_EQ(told.find("PRIVATE KEY"), std::string::npos) << told;
}

TEST_F(TlsCall, SharesConnectionsUnderAnEqualKeyAlone) {
    kit::TlsLoopbackServer server(Always(), ServerTls());
    const auto send = [&](const TlsOptions& tls) { return ToldFully(ClientOf(server, tls).Send(Get())); };
    const std::string fresh = "200 answer, attempts 1";
    EXPECT_EQ(send(Trust()), fresh);
    EXPECT_EQ(send(Trust()), fresh + ", reused");
    EXPECT_EQ(send(Trust().verifyHost(false)), fresh);
    EXPECT_EQ(send(Trust().serverName("localhost")), fresh);
    EXPECT_EQ(send(TrustAs("one")), fresh);
    EXPECT_EQ(send(TrustAs("two")), fresh);
    EXPECT_EQ(send(Trust().keyPassword([] { return std::string(); })), fresh);
    EXPECT_EQ(send(Trust()), fresh + ", reused");
}

TEST_F(TlsCall, LeavesTheThreadsErrorQueueAsItWas) {
    kit::TlsLoopbackServer server(Always(), ServerTls());
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    EXPECT_EQ(Told(ClientOf(server, Trust()).Send(Get())), "200 answer");
    EXPECT_EQ(Told(ClientOf(server, Trust().serverName("wrong.example")).Send(Get())), "Tls in Handshake");
    const unsigned long error = ERR_get_error();
    EXPECT_EQ(ERR_GET_LIB(error), ERR_LIB_USER);
    EXPECT_EQ(ERR_GET_REASON(error), 42);
    EXPECT_EQ(ERR_get_error(), 0U);
}

namespace {

class NoWaker : public Waker {
public:
    void Wake() noexcept override {}
};

/// Makes a connection, drops it, and tells whether its session was resumed from another.
bool Resumes(engine::Core& core, const ClientOptions& options, kit::NewestTls version) {
    const engine::ClientCore client(options.internals());
    engine::Connecting connecting(core, client.DestinationIn(core), std::make_shared<NoWaker>());
    for (;;) {
        switch (connecting.Step(net::Clock::now())) {
        case engine::Connecting::Status::Done: {
            // The tickets of TLS 1.3 come behind the handshake.
            const auto connection = connecting.Take();
            pollfd ready{connection->channel.fd(), POLLIN, 0};
            poll(&ready, 1, version == kit::NewestTls::Tls13 ? 10000 : 0);
            EXPECT_TRUE(connection->channel.Quiet());
            return connecting.resumed();
        }
        case engine::Connecting::Status::Failed:
            ADD_FAILURE() << connecting.fault().code.message() << connecting.fault().text;
            return false;
        case engine::Connecting::Status::Pending:
            break;
        }
        if (connecting.wait().what == engine::Wait::For::Work) {
            connecting.RunWork(net::Clock::now());
            continue;
        }
        std::vector<pollfd> watched = connecting.watched();
        if (connecting.wait().what == engine::Wait::For::Io) {
            watched = {connecting.wait().io};
        }
        poll(watched.data(), watched.size(), 1000);
    }
}

} // namespace

TEST_F(TlsCall, ResumesSessionsUnderAnEqualKeyAlone) {
    for (const kit::NewestTls newest : {kit::NewestTls::Tls12, kit::NewestTls::Tls13}) {
        kit::TlsLoopbackServer server(Always(), ServerTls(newest));
        engine::Core core(EngineOptions().internals(), std::make_shared<engine::Statistics>());
        const ClientOptions options = OptionsFor(server).tls(Trust());
        // As long as there is a client, what it resumes from is kept.
        const engine::ClientCore client(options.internals());
        client.DestinationIn(core);
        EXPECT_FALSE(Resumes(core, options, newest));
        EXPECT_TRUE(Resumes(core, options, newest));
        EXPECT_TRUE(Resumes(core, options, newest));
        EXPECT_FALSE(Resumes(core, ClientOptions(options).tls(Trust().verifyHost(false)), newest));
        EXPECT_FALSE(Resumes(core, ClientOptions(options).tls(Trust().serverName("localhost")), newest));
        EXPECT_FALSE(Resumes(core, ClientOptions(options).tls(TrustAs("one")), newest));
        EXPECT_FALSE(Resumes(core, ClientOptions(options).connectTo(server.authority()), newest));
        EXPECT_TRUE(Resumes(core, options, newest));
        core.Shutdown(0ms);
    }
}

TEST_F(TlsCall, LeavesNeitherKeyNorSessionWhenItsEngineHasEnded) {
    kit::TlsLoopbackServer server(Always(), ServerTls());
    engine::Core core(EngineOptions().internals(), std::make_shared<engine::Statistics>());
    const ClientOptions options = OptionsFor(server).tls(TrustAs("one"));
    const engine::ClientCore client(
        options.internals()); // which outlives the engine, and keeps its destination
    const engine::Destination& destination = *client.DestinationIn(core);
    EXPECT_FALSE(Resumes(core, options, kit::NewestTls::Tls13));
    const std::weak_ptr<const net::TlsContext> context = destination.material->InUse();
    ASSERT_FALSE(context.expired());
    const std::uint64_t generation = context.lock()->generation();
    core.Shutdown(0ms);
    EXPECT_TRUE(context.expired());
    EXPECT_EQ(destination.sessions->Take(generation), nullptr);
}
