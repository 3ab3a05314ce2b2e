// SPDX-License-Identifier: Apache-2.0
// Bodies on their way up: sources that keep their word or do not, and answers that come early.
#include <atomic>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"

namespace {

const std::string END_OF_HEAD = "\r\n\r\n";

/// What a source does in turn: a text to give, or a number to return.
struct Step {
    std::string text;
    std::ptrdiff_t result = 0;
    bool thrown = false;
};
Step Gives(std::string text) {
    return {std::move(text), 0, false};
}
Step Returns(std::ptrdiff_t result) {
    return {{}, result, false};
}
Step Throws() {
    return {{}, 0, true};
}

class Source : public EngineTest {
protected:
    /// Puts with a source. @return what became of it.
    std::string Send(std::vector<Step> steps, std::optional<std::uint64_t> length) {
        kit::LoopbackServer server(Always());
        const Request request =
            Request(Method::Put, "/")
                .bodySource(
                    [&]() -> BodySource {
                        ++m_opened;
                        return [this, steps, next = std::size_t(0)](char* to,
                                                                    std::size_t) mutable -> std::ptrdiff_t {
                            ++m_asked;
                            if (next == steps.size()) {
                                return 0;
                            }
                            const Step& step = steps[next++];
                            if (step.thrown) {
                                throw std::runtime_error("no more");
                            }
                            step.text.copy(to, step.text.size());
                            return step.text.empty() ? step.result
                                                     : static_cast<std::ptrdiff_t>(step.text.size());
                        };
                    },
                    length);
        const Client client = ClientOf(server);
        const Result result = client.Send(request);
        EXPECT_EQ(ToldFully(client.Send(Get())),
                  result ? "200 answer, attempts 1, reused" : "200 answer, attempts 1");
        if (!result && result.failure().requestSent()) {
            EXPECT_TRUE(server.WaitForUnfinished(1));
        }
        m_unfinished = server.unfinished();
        return ToldFully(result);
    }
    /// @return the only request that was broken off, from its body on.
    std::string BrokenBody() const {
        if (m_unfinished.size() != 1) {
            return std::to_string(m_unfinished.size()) + " were broken off";
        }
        const std::size_t at = m_unfinished[0].find(END_OF_HEAD);
        return at == std::string::npos ? "not even a head" : m_unfinished[0].substr(at + END_OF_HEAD.size());
    }

    int m_opened = 0;
    int m_asked = 0;
    std::vector<std::string> m_unfinished;
};

class EarlyAnswer : public EngineTest {
protected:
    Client ClientOf(const ScriptedServer& server) {
        return EngineTest::ClientOf(OptionsFor(server.origin()));
    }
};

} // namespace

TEST_F(Source, IsOpenedOnceAndAskedOnceMoreAfterItsLength) {
    EXPECT_EQ(Send({Gives("ab"), Gives("cde")}, 5), "200 answer, attempts 1");
    EXPECT_EQ(m_opened, 1);
    EXPECT_EQ(m_asked, 3);
}

TEST_F(Source, ThatEndsBeforeItsLengthIsAnInvalidRequest) {
    EXPECT_EQ(Send({Gives("ab")}, 5), "InvalidRequest in Send, sent, attempts 1");
    EXPECT_EQ(BrokenBody(), "ab");
}

TEST_F(Source, ThatGivesMoreThanItsLengthIsAnInvalidRequest) {
    EXPECT_EQ(Send({Gives("ab"), Gives("cde")}, 4), "InvalidRequest in Send, sent, attempts 1");
    EXPECT_EQ(BrokenBody(), "ab") << "not a byte of what is too much";
    EXPECT_EQ(Send({Gives("ab"), Gives("cd"), Gives("e")}, 4), "InvalidRequest in Send, sent, attempts 1");
    EXPECT_EQ(BrokenBody(), "ab") << "not even what would have been whole";
    EXPECT_EQ(Send({Gives("a")}, 0), "InvalidRequest in Send, not sent, attempts 1");
}

TEST_F(Source, ThatSaysItGaveMoreThanThereIsRoomForIsAnInvalidRequest) {
    EXPECT_EQ(Send({Returns(1 << 20)}, std::nullopt), "InvalidRequest in Send, not sent, attempts 1");
    EXPECT_EQ(Send({Returns(PTRDIFF_MAX)}, 5), "InvalidRequest in Send, not sent, attempts 1");
}

TEST_F(Source, ThatGivesUpCancelsTheCallWithoutTheFinalChunk) {
    EXPECT_EQ(Send({Gives("ab"), Returns(-1)}, std::nullopt), "Cancelled in Send, sent, attempts 1");
    EXPECT_EQ(BrokenBody(), "2\r\nab\r\n");
    EXPECT_EQ(Send({Gives("ab"), Returns(-1)}, 5), "Cancelled in Send, sent, attempts 1");
    EXPECT_EQ(BrokenBody(), "ab");
    EXPECT_EQ(Send({Gives("ab"), Returns(PTRDIFF_MIN)}, 2), "Cancelled in Send, not sent, attempts 1")
        << "asked once more before its last piece goes out";
}

TEST_F(Source, ThatThrowsCancelsTheCallWithoutTheFinalChunk) {
    EXPECT_EQ(Send({Gives("ab"), Throws()}, std::nullopt), "Cancelled in Send, sent, attempts 1");
    EXPECT_EQ(BrokenBody(), "2\r\nab\r\n");
}

TEST_F(Source, ThatCannotBeginSendsNothing) {
    EXPECT_EQ(Send({Returns(-1)}, std::nullopt), "Cancelled in Send, not sent, attempts 1");
    EXPECT_EQ(Send({Throws()}, 5), "Cancelled in Send, not sent, attempts 1");
    EXPECT_TRUE(m_unfinished.empty());
}

TEST_F(Source, ThatIsNoneCancelsTheCall) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    const auto put = [](std::function<BodySource()> open) {
        return Request(Method::Put, "/").bodySource(std::move(open), std::nullopt);
    };
    EXPECT_EQ(Told(client.Send(put(nullptr))), "Cancelled in Send");
    EXPECT_EQ(Told(client.Send(put([] { return BodySource(); }))), "Cancelled in Send");
    EXPECT_EQ(Told(client.Send(put([]() -> BodySource { throw 1; }))), "Cancelled in Send");
}

TEST_F(Source, MaySendACallItself) {
    kit::LoopbackServer server(Always("inner"));
    const Client client = ClientOf(server);
    const Request request =
        Request(Method::Put, "/")
            .bodySource(
                [&]() -> BodySource {
                    return [&, asked = 0](char* to, std::size_t) mutable -> std::ptrdiff_t {
                        const Result result = client.Send(Get("/inner"));
                        if (!result || ++asked > 2) {
                            return result ? 0 : -1;
                        }
                        std::memcpy(to, result->body().data(), result->body().size());
                        return static_cast<std::ptrdiff_t>(result->body().size());
                    };
                },
                std::nullopt);
    EXPECT_EQ(Told(client.Send(request)), "200 inner");
    EXPECT_EQ(server.requests().back().body, "innerinner");
}

TEST_F(EarlyAnswer, EndsTheSendingOfATextAndIsTheOutcome) {
    Moment answered;
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig");
            answered.Come();
            peer.ExpectEnd();
        },
        SMALL_BUFFER);
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Post(std::string(BIG, 'x')))), "413 big, attempts 1");
    EXPECT_TRUE(server.WaitForEnds(1)) << "the connection is closed";
    EXPECT_LT(server.received().at(0).size(), BIG) << "the rest was not sent";
}

TEST_F(EarlyAnswer, EndsTheAskingOfASourceAndIsTheOutcome) {
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nenough");
            peer.ExpectEnd();
        },
        SMALL_BUFFER);
    std::atomic<std::size_t> given{0};
    const Request request = Request(Method::Post, "/")
                                .bodySource(
                                    [&]() -> BodySource {
                                        return [&](char* to, std::size_t room) {
                                            std::memset(to, 'x', room);
                                            given += room;
                                            return given < 1024 * BIG ? static_cast<std::ptrdiff_t>(room) : 0;
                                        };
                                    },
                                    std::nullopt);
    EXPECT_EQ(ToldFully(ClientOf(server).Send(request)), "200 enough, attempts 1");
    EXPECT_TRUE(server.WaitForEnds(1));
    EXPECT_LT(given, 1024 * BIG);
    EXPECT_EQ(server.received().at(0).find("0\r\n\r\n"), std::string::npos) << "no final chunk";
}

TEST_F(EarlyAnswer, ThatIsInterimEndsNothing) {
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Send("HTTP/1.1 100 Continue\r\n\r\n");
            peer.ExpectBytes(BIG);
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nall");
            peer.ExpectEnd();
        },
        SMALL_BUFFER);
    EXPECT_EQ(Told(ClientOf(server).Send(Post(std::string(BIG, 'x')))), "200 all");
}

TEST_F(EarlyAnswer, IsReadEvenIfWritingFails) {
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Send("HTTP/1.1 401 Who\r\nContent-Length: 3\r\n\r\nyou");
            peer.Reset();
        },
        SMALL_BUFFER);
    const Client client = ClientOf(server);
    int answers = 0;
    for (int call = 0; call < 20; ++call) {
        const std::string told = Told(client.Send(Post(std::string(BIG, 'x'))));
        // A reset may overtake the answer where nobody can read it any more.
        answers += told == "401 you" ? 1 : 0;
        EXPECT_TRUE(told == "401 you" || told == "ConnectionLost in Send" || told == "ConnectionLost in Body")
            << told;
    }
    EXPECT_GT(answers, 0);
}

TEST_F(EarlyAnswer, ThatIsSlowIsWaitedForOnceItBegan) {
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Send("HTTP/1.1 500 Broken\r\nContent-Length: 7\r\n\r\n");
            peer.ReceiveUntilQuiet(100, BIG);
            peer.Send("details");
            peer.ExpectEnd();
        },
        SMALL_BUFFER);
    EXPECT_EQ(Told(ClientOf(server).Send(Post(std::string(BIG, 'x')))), "500 details");
    ASSERT_TRUE(server.WaitForEnds(1));
    EXPECT_LT(server.received().at(0).size(), BIG) << "its head alone ends the sending";
}

TEST_F(EarlyAnswer, ThatBreaksTheGrammarEndsTheCall) {
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Send("nonsense\r\n\r\n");
            peer.ExpectEnd();
        },
        SMALL_BUFFER);
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Post(std::string(BIG, 'x')))),
              "Protocol in Head, sent, attempts 1");
}

TEST_F(EarlyAnswer, ThatNeverComesIsALostConnection) {
    ScriptedServer server(
        [&](Peer& peer) {
            peer.Expect(END_OF_HEAD);
            peer.Reset();
        },
        SMALL_BUFFER);
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Post(std::string(BIG, 'x')))),
              "ConnectionLost in Send, sent, attempts 1");
}
