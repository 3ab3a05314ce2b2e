// SPDX-License-Identifier: Apache-2.0
// Faults around the answer: no server, no handshake, no interim answer, bytes that come too late.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include <httpclient/testing/TlsLoopbackServer.h>

#include "Gate.h"
#include "setting/Log.h"

using namespace httpclient::testing;

namespace {

constexpr int COULD_NOT_CONNECT = 7;
constexpr int TIMEOUT_ERROR = 28;
constexpr int TLS_CONNECT_ERROR = 35;
constexpr int SEND_ERROR = 55;
constexpr int RECEIVE_ERROR = 56;
constexpr int PEER_NOT_VERIFIED = 60;

const LoopbackServer::Handler SOUND = [](const RecordedRequest&) { return Sound(); };

/// How many messages hold a text.
std::ptrdiff_t TimesLogged(const std::string& text) {
    const Lines all = Logged(2);
    return std::count_if(all.begin(), all.end(),
                         [&text](const std::string& line) { return line.find(text) != std::string::npos; });
}

class ConnectionFaults : public GateTest {
protected:
    std::unique_ptr<LoopbackServer> Serve(Way way, ServerOptions options = {}) const {
        if (IsTls(way)) {
            return std::make_unique<TlsLoopbackServer>(SOUND, m_tls.Server(), std::move(options));
        }
        return std::make_unique<LoopbackServer>(SOUND, std::move(options));
    }
    /// The first connection meets a fault, the others are served.
    std::unique_ptr<LoopbackServer> ServeAllButTheFirst(Way way, OnAccept fault) const {
        ServerOptions options;
        options.onAccept = [fault](unsigned int connection) {
            return connection == 1 ? fault : OnAccept::Serve;
        };
        return Serve(way, std::move(options));
    }
    /// A TLS server with a certificate of its own.
    void ExpectRefused(const Identity& identity) {
        TlsOptions options = m_tls.Server();
        options.identity = identity;
        auto server = std::make_unique<TlsLoopbackServer>(SOUND, options);
        PointAt(*server, Way::TlsFresh);
        ExpectFailure(Send(Way::TlsFresh), Way::TlsFresh, PEER_NOT_VERIFIED, "Tls in Handshake");
        EXPECT_EQ(server->handshakes(), 0U);
        EXPECT_TRUE(server->requests().empty());
        ExpectServedAtTheSamePort(std::move(server), Way::TlsFresh);
    }
    /// Ends a server and starts a sound one in its place.
    void ExpectServedAtTheSamePort(std::unique_ptr<LoopbackServer> server, Way way) {
        ServerOptions options;
        options.port = server->port();
        server.reset();
        const auto sound = Serve(way, options);
        ExpectNextToWork(way);
        EXPECT_EQ(sound->requests().size(), 2U);
        EXPECT_EQ(sound->connectionsAccepted(), 1U);
    }
};

} // namespace

TEST_F(ConnectionFaults, OfAPortThatRefusesEndWhenAServerIsThere) {
    for (const Way way : {Way::Fresh, Way::TlsFresh, Way::Asynchronous}) {
        ClosePool();
        auto server = Serve(way);
        server->Stop();
        PointAt(*server, way);
        ExpectFailure(Send(way), way, COULD_NOT_CONNECT, "Connect in Connect");
        ExpectServedAtTheSamePort(std::move(server), way);
    }
}

TEST_F(ConnectionFaults, OfAServerThatDiesAndComesBackEndWithIt) {
    for (const Way way : {Way::Kept, Way::TlsKept, Way::Asynchronous}) {
        ClosePool();
        auto server = Serve(way);
        PointAt(*server, way);
        EXPECT_EQ(Send(way).result, 200);
        server->Stop();
        ExpectFailure(Send(way), way, COULD_NOT_CONNECT, "Connect in Connect");
        ExpectServedAtTheSamePort(std::move(server), way);
    }
}

TEST_F(ConnectionFaults, OfAConnectionClosedOrResetAtOnceEndWithIt) {
    for (const OnAccept fault : {OnAccept::Close, OnAccept::Reset}) {
        for (const Way way : {Way::Fresh, Way::TlsFresh, Way::Asynchronous}) {
            ClosePool();
            const auto server = ServeAllButTheFirst(way, fault);
            PointAt(*server, way);
            const Outcome outcome = Send(way);
            EXPECT_EQ(outcome.result, way == Way::Asynchronous && !IsStrict() ? 0 : -1);
            ExpectNextToWork(way);
            EXPECT_EQ(server->requests().size(), 2U);
            EXPECT_EQ(server->connectionsAccepted(), 2U);
        }
    }
}

TEST_F(ConnectionFaults, OfAServerThatAcceptsAndReadsNothingEndWithTheTimeout) {
    const auto server = ServeAllButTheFirst(Way::TlsFresh, OnAccept::ReadNothing);
    PointAt(*server, Way::TlsFresh);
    ExpectFailure(SendUntilTimeout(Way::TlsFresh), Way::TlsFresh, TIMEOUT_ERROR, "Timeout in Handshake");
    ExpectNextToWork(Way::TlsFresh);
    EXPECT_EQ(server->requests().size(), 2U);
    EXPECT_EQ(server->connectionsAccepted(), 2U);
}

TEST_F(ConnectionFaults, OfAHandshakeBrokenOffEndWithIt) {
    const auto server = ServeAllButTheFirst(Way::TlsFresh, OnAccept::CloseAfterHello);
    PointAt(*server, Way::TlsFresh);
    ExpectFailure(Send(Way::TlsFresh), Way::TlsFresh, TLS_CONNECT_ERROR, "Tls in Handshake");
    ExpectNextToWork(Way::TlsFresh);
    EXPECT_EQ(server->requests().size(), 2U);
    EXPECT_EQ(server->connectionsAccepted(), 2U);
}

TEST_F(ConnectionFaults, OfAnotherAuthoritysCertificateEndWithARightOne) {
    ExpectRefused(CertificateAuthority("Another CA").IssueServer());
}

TEST_F(ConnectionFaults, OfAnExpiredCertificateEndWhenTheServerHasARightOne) {
    CertificateProfile profile;
    profile.commonName = "127.0.0.1";
    profile.validity = Validity::Expired;
    ExpectRefused(m_tls.ca().Issue(profile));
}

// libcurl asks to go on before it sends more than 1 MiB, and goes on by itself after a second.
TEST_F(ConnectionFaults, OfAnInterimAnswerThatNeverComesOnlyDelay) {
    const std::string large(std::size_t{2} << 20, 'x');
    for (const Way way : {Way::Fresh, Way::TlsFresh}) {
        ClosePool();
        ServerOptions options;
        options.answerExpect = false;
        const auto server = Serve(way, options);
        PointAt(*server, way);
        EXPECT_EQ(Send(way, HTTPOPERATION_POST, large).body, "sound");
        ASSERT_EQ(server->requests().size(), 1U);
        EXPECT_EQ(server->requests()[0].Header("Expect"), "100-continue");
        EXPECT_TRUE(server->requests()[0].body == large);
        ExpectNextToWork(way);
        EXPECT_EQ(server->requests().size(), 3U);
        EXPECT_EQ(server->connectionsAccepted(), 1U);
    }
}

// libcurl 7.88 counts its second tries in the life of a handle, and those of the pool live on. The server
// drops each connection at the second request that comes on it.
TEST_F(ConnectionFaults, OfEverySixthDroppedConnectionFailTheRequest) {
    int failures = 0;
    for (const After drop : {After::Close, After::Reset}) {
        for (const Way way : {Way::Kept, Way::TlsKept}) {
            ClosePool();
            std::atomic<unsigned int> last{0};
            const LoopbackServer::Handler dropTheSecond = [&last, drop](const RecordedRequest& request) {
                const bool isSecond = last.exchange(request.connection) == request.connection;
                return isSecond ? Silence(drop) : Sound();
            };
            std::unique_ptr<LoopbackServer> server;
            if (IsTls(way)) {
                server = std::make_unique<TlsLoopbackServer>(dropTheSecond, m_tls.Server());
            } else {
                server = std::make_unique<LoopbackServer>(dropTheSecond);
            }
            PointAt(*server, way);
            for (int round = 0; round < 2; ++round) {
                EXPECT_EQ(Send(way).result, 200) << "on a new connection";
                for (int again = 1; again <= 5; ++again) {
                    EXPECT_EQ(Send(way).body, "sound") << again;
                }
                const Outcome outcome = Send(way);
                EXPECT_EQ(outcome.result, -1);
                EXPECT_EQ(outcome.error, drop == After::Close ? SEND_ERROR : RECEIVE_ERROR);
                EXPECT_EQ(TimesLogged("Connection died, tried 5 times before giving up"), ++failures);
            }
            EXPECT_EQ(server->connectionsAccepted(), 12U);
            EXPECT_EQ(server->requests().size(), 24U);
        }
    }
}

// After a HEAD, and for a HEAD that goes out under another method, libcurl reads no body; the
// server sends one.
TEST_F(ConnectionFaults, OfAnUnreadBodyNeverBecomeTheNextAnswer) {
    const std::string forged = "HTTP/1.1 201 Created\r\nContent-Length: 6\r\n\r\nforged";
    const std::string head =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(forged.size()) + "\r\n\r\n";
    for (const Way way : {Way::Fresh, Way::TlsFresh}) {
        for (const HTTPOPERATIONTYPE second : {HTTPOPERATION_GET, HTTPOPERATION_POST}) {
            ClosePool();
            const LoopbackServer::Handler answer = [&](const RecordedRequest& request) {
                Reply reply = Raw(head);
                if (request.method != "HEAD") {
                    reply.pieces.push_back({forged, std::chrono::milliseconds(20)});
                }
                return reply;
            };
            std::unique_ptr<LoopbackServer> server;
            if (IsTls(way)) {
                server = std::make_unique<TlsLoopbackServer>(answer, m_tls.Server());
            } else {
                server = std::make_unique<LoopbackServer>(answer);
            }
            PointAt(*server, way);
            for (const HTTPOPERATIONTYPE verb :
                 {HTTPOPERATION_HEAD, second, HTTPOPERATION_GET, HTTPOPERATION_HEAD, HTTPOPERATION_HEAD}) {
                const Outcome outcome = Send(way, verb);
                EXPECT_EQ(outcome.result, 200);
                EXPECT_EQ(outcome.body, head);
            }
            EXPECT_EQ(server->requests().size(), 5U);
            EXPECT_EQ(server->connectionsAccepted(), 4U)
                << "but for a HEAD that is one, each closes its connection";
        }
    }
}

TEST_F(ConnectionFaults, OfNoBodyToLeaveUnreadCostNoConnection) {
    for (const std::string head : {"200 OK\r\nContent-Length: 0", "204 No Content", "304 Not Modified"}) {
        ClosePool();
        const LoopbackServer server(
            [&head](const RecordedRequest&) { return Raw("HTTP/1.1 " + head + "\r\n\r\n"); });
        PointAt(server, Way::Fresh);
        for (const HTTPOPERATIONTYPE verb : {HTTPOPERATION_HEAD, HTTPOPERATION_GET, HTTPOPERATION_POST}) {
            EXPECT_EQ(Send(Way::Fresh, verb).result, std::stoi(head));
        }
        EXPECT_EQ(server.connectionsAccepted(), 1U) << head;
    }
}
