// SPDX-License-Identifier: Apache-2.0
// Kept connections: nothing of another, nothing twice.
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"

namespace {

const std::string ANSWER = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer";
const std::string END_OF_HEAD = "\r\n\r\n";

class Kept : public EngineTest {
protected:
    Client ClientOf(const ScriptedServer& server) {
        return EngineTest::ClientOf(OptionsFor(server.origin()));
    }
    /// Sends a GET, and then a request on the connection that it has left, where the server does something else than to
    /// answer.
    /// @return what became of that, and over how many connections in all.
    std::string SecondOnKept(const std::function<void(Peer&)>& otherwise, const Request& second);
};

/// The first connection answers once, and does something else with the second request; further ones answer all.
ScriptedServer::Script OnSecondRequest(std::function<void(Peer&)> otherwise) {
    return [otherwise = std::move(otherwise)](Peer& peer) {
        for (int request = 1; peer.Expect(END_OF_HEAD); ++request) {
            if (peer.number() == 1 && request == 2) {
                otherwise(peer);
                return;
            }
            peer.Send(ANSWER);
        }
    };
}

std::string Kept::SecondOnKept(const std::function<void(Peer&)>& otherwise, const Request& second) {
    ScriptedServer server(OnSecondRequest(otherwise));
    const Client client = ClientOf(server);
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
    const std::string told = ToldFully(client.Send(second));
    return told + ", connections " + std::to_string(server.accepted());
}

void End(Peer& /*peer*/) {}

void Reset(Peer& peer) {
    peer.Reset();
}

} // namespace

TEST_F(Kept, DeadConnectionIsReplacedOnceWithoutAWordForAGet) {
    EXPECT_EQ(SecondOnKept(End, Get()), "200 answer, attempts 1, connections 2");
    EXPECT_EQ(SecondOnKept(Reset, Get()), "200 answer, attempts 1, connections 2");
}

TEST_F(Kept, DeadConnectionIsReplacedNoSecondTime) {
    ScriptedServer server([](Peer& peer) {
        if (peer.number() == 1 && peer.Expect(END_OF_HEAD)) {
            peer.Send(ANSWER);
        }
        peer.Expect(END_OF_HEAD);
    });
    const Client client = ClientOf(server);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(ToldFully(client.Send(Get())), "ConnectionLost in Head, sent, retryable, attempts 1");
    EXPECT_EQ(server.accepted(), 2U);
}

TEST_F(Kept, FreshConnectionThatDiesIsNotReplaced) {
    ScriptedServer server([](Peer& peer) { peer.Expect(END_OF_HEAD); });
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Get())), "ConnectionLost in Head, sent, retryable, attempts 1");
    EXPECT_EQ(server.accepted(), 1U);
}

TEST_F(Kept, PostThatWasWrittenIsSentOnceAndItsFailureSaysSo) {
    for (const auto otherwise : {End, Reset}) {
        ScriptedServer server(OnSecondRequest(otherwise));
        const Client client = ClientOf(server);
        ASSERT_EQ(Told(client.Send(Get())), "200 answer");
        EXPECT_EQ(ToldFully(client.Send(Post())), "ConnectionLost in Head, sent, attempts 1");
        EXPECT_EQ(server.accepted(), 1U);
        EXPECT_EQ(Told(client.Send(Post())), "200 answer");
    }
}

TEST_F(Kept, PostThatTheHostCallsIdempotentIsSentAgain) {
    EXPECT_EQ(SecondOnKept(End, Post().idempotent(true)), "200 answer, attempts 1, connections 2");
}

TEST_F(Kept, GetThatTheHostCallsNotIdempotentIsNotSentAgain) {
    EXPECT_EQ(SecondOnKept(End, Get().idempotent(false)),
              "ConnectionLost in Head, sent, attempts 1, connections 1");
}

TEST_F(Kept, DeadConnectionIsNotReplacedOnceASourceWasOpened) {
    int opened = 0;
    const auto open = [&]() -> BodySource {
        ++opened;
        return [](char*, std::size_t) { return 0; };
    };
    EXPECT_EQ(SecondOnKept(End, Request(Method::Put, "/").bodySource(open, 0)),
              "ConnectionLost in Head, sent, retryable, attempts 1, connections 1");
    EXPECT_EQ(opened, 1);
}

TEST_F(Kept, DeadConnectionIsNotReplacedOnceAByteOfTheAnswerCame) {
    EXPECT_EQ(SecondOnKept([](Peer& peer) { peer.Send("H"); }, Get()),
              "ConnectionLost in Head, sent, retryable, attempts 1, connections 1");
}

TEST_F(Kept, ConnectionThatTheServerEndedIsNotUsedEvenForAPost) {
    for (const bool reset : {false, true}) {
        ScriptedServer server([reset](Peer& peer) {
            if (peer.Expect(END_OF_HEAD)) {
                peer.Send(ANSWER);
            }
            if (reset) {
                peer.Reset();
            }
        });
        const Client client = ClientOf(server);
        for (int call = 1; call <= 3; ++call) {
            EXPECT_EQ(ToldFully(client.Send(Post())), "200 answer, attempts 1");
            ASSERT_TRUE(server.WaitForEnds(static_cast<std::size_t>(call)));
        }
        EXPECT_EQ(server.accepted(), 3U);
    }
}

TEST_F(Kept, ConnectionOnWhichSomethingArrivedIsNotUsed) {
    Moment first;
    Moment sent;
    ScriptedServer server([&](Peer& peer) {
        while (peer.Expect(END_OF_HEAD)) {
            peer.Send(ANSWER);
            if (peer.number() == 1) {
                first.Wait();
                peer.Send("HTTP/1.1 408 Request Timeout\r\nContent-Length: 0\r\n\r\n");
                sent.Come();
            }
        }
    });
    const Client client = ClientOf(server);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    first.Come();
    ASSERT_TRUE(sent.Wait());
    EXPECT_EQ(ToldFully(client.Send(Post())), "200 answer, attempts 1") << "not the 408";
    EXPECT_EQ(server.accepted(), 2U);
}

TEST_F(Kept, ConnectionsThatAreAllDeadCostOneDialAlone) {
    constexpr unsigned int MANY = 5;
    std::atomic<unsigned int> arrived{0};
    Moment all;
    ScriptedServer server([&](Peer& peer) {
        while (peer.Expect(END_OF_HEAD)) {
            if (peer.number() <= MANY) {
                if (++arrived == MANY) {
                    all.Come();
                }
                all.Wait();
                peer.Send(ANSWER);
                return;
            }
            peer.Send(ANSWER);
        }
    });
    const Client client = ClientOf(server);
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < MANY; ++i) {
        threads.emplace_back([&] { EXPECT_EQ(Told(client.Send(Get())), "200 answer"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(server.WaitForEnds(MANY));
    EXPECT_EQ(ToldFully(client.Send(Post())), "200 answer, attempts 1");
    EXPECT_EQ(server.accepted(), MANY + 1);
}

TEST_F(Kept, IdleConnectionIsClosedByTheKeeper) {
    kit::LoopbackServer server(Always());
    Engine engine(EngineOptions().idleTimeout(20ms));
    const Client client(OptionsFor(server), engine);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
}

TEST_F(Kept, OldConnectionIsClosedByTheKeeper) {
    kit::LoopbackServer server(Always());
    Engine engine(EngineOptions().maxAge(30ms));
    const Client client(OptionsFor(server), engine);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST_F(Kept, ConnectionsAreKeptUnderTheLongestTimesThatCanBeSaid) {
    const auto longest = std::chrono::milliseconds::max();
    kit::LoopbackServer server(Always());
    Engine engine(EngineOptions().idleTimeout(longest).maxAge(longest).nameLifetime(longest));
    const Client client(
        OptionsFor(server).timeout(longest).connectTimeout(longest).attemptTimeout(longest).retry(
            RetryPolicy().attempts(3).pauses(longest, longest)),
        engine);
    EXPECT_EQ(ToldFully(client.Send(Get().timeout(longest))), "200 answer, attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
    EXPECT_TRUE(engine.Shutdown(longest));
}

TEST_F(Kept, IdleConnectionsAreClosedWhenTheHostSays) {
    kit::LoopbackServer server(Always());
    m_engine.CloseIdleConnections(); // of an engine that was never used
    const Client client = EngineTest::ClientOf(server);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    m_engine.CloseIdleConnections();
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
}

TEST_F(Kept, ConnectionsAreSharedUnderAnEqualKeyAlone) {
    kit::LoopbackServer server(Always());
    const auto send = [&](const ClientOptions& options) {
        return ToldFully(EngineTest::ClientOf(options).Send(Get()));
    };
    EXPECT_EQ(send(OptionsFor(server)), "200 answer, attempts 1");
    EXPECT_EQ(send(OptionsFor(server).maxBody(1000)), "200 answer, attempts 1, reused");
    const std::string place = "127.0.0.1:" + std::to_string(server.port());
    EXPECT_EQ(send(OptionsFor(server).connectTo(place)), "200 answer, attempts 1");
    EXPECT_EQ(send(OptionsFor("http://other.example").connectTo(place)), "200 answer, attempts 1");
    EXPECT_EQ(send(OptionsFor("HTTP://OTHER.example:80/").connectTo(place)),
              "200 answer, attempts 1, reused");
    EXPECT_EQ(server.connectionsAccepted(), 3U);
}
