// SPDX-License-Identifier: Apache-2.0
// Servers and networks that are slow, hasty or silent: one outcome for each call, and the next call is fine.
#include <cstring>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/ScriptedServer.h"
#include "wire/Relay.h"
#include "wire/WireTest.h"

namespace {

std::string Answer(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// The first connection follows a script, the others are answered.
ScriptedServer::Script AtFirst(ScriptedServer::Script script) {
    return [script = std::move(script)](Peer& peer) {
        if (peer.number() == 1) {
            return script(peer);
        }
        while (peer.Expect("\r\n\r\n")) {
            peer.Send(Answer("fine"));
        }
    };
}

/// A text that goes up, or a source that gives as much.
Request Upload(bool source) {
    if (!source) {
        return Post(std::string(BIG, 'x'));
    }
    return Request(Method::Post, "/")
        .bodySource(
            []() -> BodySource {
                return [left = BIG](char* to, std::size_t room) mutable {
                    const std::size_t size = std::min(room, left);
                    std::memset(to, 'x', size);
                    left -= size;
                    return static_cast<std::ptrdiff_t>(size);
                };
            },
            std::nullopt);
}

class ServerFault : public WireTest {
protected:
    using WireTest::ClientOf;
    Client ClientOf(const ScriptedServer& server) { return ClientOf(OptionsFor(server.origin())); }
};

class SlowWire : public WireTest {};

/// Pieces of one byte, both ways, and pauses between them.
Faults Dripping(int pause) {
    Faults faults;
    faults.up.piece = faults.down.piece = 1;
    faults.up.pause = faults.down.pause = pause;
    return faults;
}

} // namespace

TEST_P(SlowWire, OfSingleBytesCarriesEachAnswerWhole) {
    const std::string body(300, 'b');
    const ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\nquestion");
        peer.Send("HTTP/1.1 100 Continue\r\n\r\n" + Answer(body));
        peer.Expect("\r\n\r\nquestion");
        peer.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n12c\r\n" + body +
                  "\r\n0\r\nA: b\r\n\r\n");
        peer.Expect("\r\n\r\nquestion");
        peer.Send("HTTP/1.1 200 OK\r\n\r\n" + body);
    });
    const Relay relay(server.port(), [](unsigned) { return Dripping(0); });
    const Client client = ClientOf(OptionsFor("http://" + relay.authority()));
    EXPECT_EQ(ToldFully(Send(client, Post())), "200 " + body + ", attempts 1");
    EXPECT_EQ(ToldFully(Send(client, Post())), "200 " + body + ", attempts 1, reused");
    EXPECT_EQ(ToldFully(Send(client, Post())), "200 " + body + ", attempts 1, reused");
}

TEST_P(SlowWire, OfSingleBytesCarriesTls) {
    const kit::CertificateAuthority ca;
    kit::TlsOptions tls = ServerTls(ca);
    for (const kit::NewestTls newest : {kit::NewestTls::Tls12, kit::NewestTls::Tls13}) {
        tls.newest = newest;
        const kit::TlsLoopbackServer server(Always(), tls);
        const Relay relay(server.port(), [](unsigned) { return Dripping(0); });
        const Client client = ClientOf(
            OptionsFor("https://" + relay.authority()).tls(TlsOptions().memory(ca.certificatePem())));
        EXPECT_EQ(ToldFully(Send(client, Post())), "200 answer, attempts 1");
        EXPECT_EQ(ToldFully(Send(client, Post())), "200 answer, attempts 1, reused");
    }
}

TEST_P(SlowWire, IsGivenUpAtTheDeadline) {
    const ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer(std::string(1000, 'b')));
        peer.ExpectEnd();
    });
    const Relay relay(server.port(), [](unsigned number) { return number == 1 ? Dripping(1) : Faults(); });
    const Client client = ClientOf(OptionsFor("http://" + relay.authority()));
    const auto time = TimeOf([&] {
        const std::string told = Told(Send(client, Get().timeout(200ms)));
        EXPECT_EQ(told.substr(0, 11), "Timeout in ");
    });
    EXPECT_GE(time, 200ms);
    EXPECT_LT(time, 200ms + TOLERANCE);
    EXPECT_EQ(Told(Send(client, Get())).substr(0, 5), "200 b");
}

TEST_P(ServerFault, EarlyAnswerBeforeTheEndOfTheConnectionIsTheOutcome) {
    for (const bool source : {false, true}) {
        const ScriptedServer server(AtFirst([](Peer& peer) {
                                        peer.Expect("\r\n\r\n");
                                        peer.Send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig");
                                        peer.EndSending();
                                        peer.ExpectEnd();
                                    }),
                                    SMALL_BUFFER);
        const Client client = ClientOf(server);
        EXPECT_EQ(ToldFully(Send(client, Upload(source))), "413 big, attempts 1");
        EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
    }
}

TEST_P(ServerFault, EarlyAnswerAndCloseIsTheOutcomeUnlessTheResetOvertakesIt) {
    for (const bool source : {false, true}) {
        const ScriptedServer server(AtFirst([](Peer& peer) {
                                        peer.Expect("\r\n\r\n");
                                        peer.Send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig");
                                    }),
                                    SMALL_BUFFER);
        const Client client = ClientOf(server);
        const std::string told = Told(Send(client, Upload(source)));
        EXPECT_TRUE(told == "413 big" || told == "ConnectionLost in Send" || told == "ConnectionLost in Body")
            << told;
        EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
    }
}

TEST_P(ServerFault, CloseWithoutAnAnswerWhileABodyGoesUpIsALostConnection) {
    for (const bool source : {false, true}) {
        const ScriptedServer server(AtFirst([](Peer& peer) { peer.Expect("\r\n\r\n"); }), SMALL_BUFFER);
        const Client client = ClientOf(server);
        EXPECT_EQ(ToldFully(Send(client, Upload(source))), "ConnectionLost in Send, sent, attempts 1");
        EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
    }
}

TEST_P(ServerFault, SecondAnswerAtOnceIsNobodys) {
    const ScriptedServer server(AtFirst([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer("first") + Answer("forged"));
        peer.ExpectEnd();
    }));
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 first, attempts 1");
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
}

TEST_P(ServerFault, SecondAnswerLaterIsNobodys) {
    Moment later;
    Moment sent;
    const ScriptedServer server(AtFirst([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer("first"));
        later.Wait();
        peer.Send(Answer("forged"));
        sent.Come();
        peer.ExpectEnd();
    }));
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 first, attempts 1");
    later.Come();
    ASSERT_TRUE(sent.Wait());
    EXPECT_EQ(ToldFully(Send(client, Post())), "200 fine, attempts 1");
}

TEST_P(ServerFault, AnswerBeforeTheRequestIsNobodysOnAKeptConnection) {
    Moment sent;
    const ScriptedServer server(AtFirst([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer("first"));
        peer.Expect("\r\n\r\n");
        peer.Send(Answer("second") + "H");
        sent.Come();
        peer.ExpectEnd();
    }));
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 first, attempts 1");
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 second, attempts 1, reused");
    ASSERT_TRUE(sent.Wait());
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1") << "not even a byte is left over";
}

TEST_P(ServerFault, ThatReadsNothingIsGivenUpAtTheDeadline) {
    for (const bool source : {false, true}) {
        Moment over;
        const ScriptedServer server(AtFirst([&](Peer&) { over.Wait(); }), SMALL_BUFFER);
        const Client client = ClientOf(server);
        const Request upload = Upload(source).timeout(100ms); // large: making it would count, too
        const auto time =
            TimeOf([&] { EXPECT_EQ(ToldFully(Send(client, upload)), "Timeout in Send, sent, attempts 1"); });
        EXPECT_GE(time, 100ms);
        EXPECT_LT(time, 100ms + TOLERANCE);
        EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
        over.Come();
    }
}

TEST_P(ServerFault, EndOfSendingBeforeTheAnswerIsALostConnection) {
    const ScriptedServer server(AtFirst([](Peer& peer) {
        peer.EndSending();
        peer.ExpectEnd();
    }));
    const Client client = ClientOf(server);
    const std::string told = ToldFully(Send(client, Get()));
    EXPECT_EQ(told, "ConnectionLost in Head, sent, retryable, attempts 1");
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
}

TEST_P(ServerFault, EndOfSendingBehindAnAnswerEndsItsConnection) {
    const ScriptedServer server(AtFirst([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer("last"));
        peer.EndSending();
        peer.ExpectEnd();
    }));
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 last, attempts 1");
    ASSERT_TRUE(Becomes([&] { return server.accepted() == 1; }));
    EXPECT_EQ(ToldFully(Send(client, Get())), "200 fine, attempts 1");
}

INSTANTIATE_TEST_SUITE_P(By, SlowWire, ::testing::Values(Driver::Blocking, Driver::Loop), NameOf);
INSTANTIATE_TEST_SUITE_P(By, ServerFault, ::testing::Values(Driver::Blocking, Driver::Loop), NameOf);
