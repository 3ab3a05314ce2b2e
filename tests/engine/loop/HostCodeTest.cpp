// SPDX-License-Identifier: Apache-2.0
// Sources, sinks and head functions of asynchronous calls.
#include <algorithm>
#include <set>
#include <thread>

#include "loop/AsyncTest.h"
#include "loop/Steps.h"

namespace {

class HostCodeTest : public AsyncTest {};

/// Says when two of them are there at once.
class Alone {
public:
    explicit Alone(std::atomic<int>& inside) : m_inside(inside) { EXPECT_EQ(++m_inside, 1); }
    ~Alone() { --m_inside; }
    Alone(const Alone&) = delete;
    Alone& operator=(const Alone&) = delete;

private:
    std::atomic<int>& m_inside;
};

TEST_F(HostCodeTest, RunsOnCallbackThreadsOneAtATimeInOrder) {
    kit::LoopbackServer server([](const kit::RecordedRequest& request) {
        return kit::RespondChunked(200, {}, {request.body, "-", request.body});
    });
    std::set<std::thread::id> loops;
    std::mutex lock;
    const Steps steps([&](const Step& step) {
        if (step.onLoop) {
            const std::lock_guard<std::mutex> guard(lock);
            loops.insert(std::this_thread::get_id());
        }
    });
    std::set<std::thread::id> seen;
    std::atomic<int> inside{0};
    std::string order;
    std::string body;
    const auto note = [&](const char* what) {
        const std::lock_guard<std::mutex> guard(lock);
        seen.insert(std::this_thread::get_id());
        order += order.empty() || order.back() != *what ? what : "";
    };
    Request request(Method::Post, "/");
    request.bodySource(
        [&]() -> BodySource {
            return [&, left = 100](char* to, std::size_t room) mutable -> std::ptrdiff_t {
                const Alone alone(inside);
                note("s");
                const std::size_t size = std::min<std::size_t>(room, 1000);
                std::fill_n(to, size, static_cast<char>('a' + left % 26));
                return left-- > 0 ? static_cast<std::ptrdiff_t>(size) : 0;
            };
        },
        std::nullopt);
    request.onHead([&](const Response& answer) {
        const Alone alone(inside);
        note("h");
        return answer.status() == 200;
    });
    request.bodySink([&](std::string_view piece) {
        const Alone alone(inside);
        note("p");
        body += piece;
        return true;
    });
    ++m_started;
    ClientOf(server).Start(request, [&, end = m_ends.Of()](Result result) {
        const Alone alone(inside);
        note("d");
        end(std::move(result));
    });
    EXPECT_EQ(m_ends.Told(), "200 ");
    EXPECT_EQ(order, "shpd");
    EXPECT_EQ(body.size(), 200'001U);
    const std::lock_guard<std::mutex> guard(lock);
    for (const std::thread::id& thread : seen) {
        EXPECT_EQ(loops.count(thread), 0U);
    }
}

TEST_F(HostCodeTest, NothingIsReadOrSentForACallWhileItsHostCodeRuns) {
    ScriptedServer server([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer(std::string(4UL << 20, 'x')));
        peer.ExpectEnd();
    });
    kit::LoopbackServer other(Always());
    std::mutex lock;
    std::set<int> first;             // descriptors of the call with the sink: all before the other begins
    std::atomic<bool> others{false}; // may use more
    std::atomic<bool> inSink{false};
    std::atomic<int> touched{0};
    const Steps steps([&](const Step& step) {
        if (!step.onLoop || (step.what != Step::What::Receive && step.what != Step::What::Send)) {
            return;
        }
        const std::lock_guard<std::mutex> guard(lock);
        if (!others) {
            first.insert(step.fd);
        } else if (inSink && first.count(step.fd) != 0) {
            ++touched;
        }
    });
    const Client small = ClientOf(other);
    int pieces = 0;
    std::size_t size = 0;
    Start(ClientOf(server), Get().bodySink([&](std::string_view piece) {
        others = true;
        inSink = true;
        if (++pieces <= 10) { // the loop goes on with others meanwhile, and so would with this one
            EXPECT_EQ(Told(small.SendAsync(Get()).get()), "200 answer");
        }
        size += piece.size();
        inSink = false;
        return true;
    }));
    EXPECT_EQ(m_ends.Told(), "200 ");
    EXPECT_EQ(size, 4UL << 20);
    EXPECT_EQ(touched, 0);
}

TEST_F(HostCodeTest, ASinkThatIsSlowHoldsTheServerBack) {
    std::atomic<std::size_t> sent{0};
    constexpr std::size_t ALL = 64UL << 20;
    ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(ALL) + "\r\n\r\n");
        const std::string piece(1UL << 16, 'x');
        for (std::size_t count = 0; count < ALL; count += piece.size()) {
            peer.Send(piece);
            sent += piece.size();
        }
        peer.ExpectEnd();
    });
    kit::LoopbackServer other(Always());
    const Client small = ClientOf(other);
    Moment goOn;
    std::atomic<std::size_t> size{0};
    Start(ClientOf(server), Get().bodySink([&](std::string_view piece) {
        goOn.Wait();
        size += piece.size();
        return true;
    }));
    // It stops by itself: what the kernel's buffers hold, and no more.
    std::size_t before = 0;
    do {
        before = sent;
        for (int round = 0; round < 50; ++round) {
            EXPECT_EQ(Told(small.SendAsync(Get()).get()), "200 answer");
        }
    } while (sent != before || sent == 0);
    EXPECT_LT(sent, ALL / 2);
    goOn.Come();
    EXPECT_EQ(m_ends.Told(), "200 ");
    EXPECT_EQ(size, ALL);
}

TEST_F(HostCodeTest, ThatHasHadEnoughCancelsTheCall) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Start(client, Get().bodySink([](std::string_view) { return false; }), "sink");
    EXPECT_EQ(m_ends.Told("sink"), "Cancelled in Body");
    Start(client, Get().bodySink([](std::string_view) -> bool { throw 1; }), "throws");
    EXPECT_EQ(m_ends.Told("throws"), "Cancelled in Body");
    Start(client, Get().onHead([](const Response&) { return false; }), "head");
    EXPECT_EQ(m_ends.Told("head"), "Cancelled in Body");
    Request post(Method::Post, "/");
    post.bodySource([]() -> BodySource { return [](char*, std::size_t) -> std::ptrdiff_t { return -1; }; },
                    5);
    Start(client, post, "source");
    EXPECT_EQ(m_ends.Told("source"), "Cancelled in Send");
    post.bodySource([]() -> BodySource { return [](char*, std::size_t) -> std::ptrdiff_t { return 0; }; }, 5);
    Start(client, post, "short");
    EXPECT_EQ(m_ends.Told("short"), "InvalidRequest in Send");
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

/// A test with one callback thread, which is occupied.
class OccupiedTest : public AsyncTest {
protected:
    OccupiedTest() : AsyncTest(EngineOptions().callbackThreads(1)) {}

    void Occupy() {
        Start(ClientOf(m_small), Get().bodySink([this](std::string_view) {
            m_occupied.Come();
            m_free.Wait();
            return true;
        }),
              "occupier");
        m_occupied.Wait();
    }

    kit::LoopbackServer m_small{Always()};
    Moment m_occupied;
    Moment m_free;
};

TEST_F(OccupiedTest, ADeadlinePassesWhileHostCodeWaitsForItsThread) {
    Occupy();
    std::atomic<int> pieces{0};
    std::future<Result> future =
        ClientOf(m_small).SendAsync(Get().timeout(200ms).bodySink([&](std::string_view) {
            ++pieces;
            return true;
        }));
    EXPECT_EQ(Told(future.get()), "Timeout in Body");
    m_free.Come();
    EXPECT_EQ(m_ends.Told("occupier"), "200 ");
    End();
    EXPECT_EQ(pieces, 0) << "what has not begun by the deadline does not begin";
}

TEST_F(OccupiedTest, CancelEndsACallWhoseHostCodeWaitsForItsThread) {
    Occupy();
    std::atomic<int> pieces{0};
    std::promise<std::string> told;
    Call call = Start(ClientOf(m_small), Get().bodySink([&](std::string_view) {
        ++pieces;
        return true;
    }));
    EXPECT_TRUE(m_small.WaitForRequests(2));
    call.Cancel();
    m_free.Come();
    EXPECT_EQ(m_ends.Told("occupier"), "200 ");
    const std::string text = m_ends.Told();
    EXPECT_EQ(text.rfind("Cancelled in ", 0), 0U) << text;
    EXPECT_EQ(pieces, 0);
}

TEST_F(OccupiedTest, ShutdownEndsACallWhoseHostCodeWaitsForItsThread) {
    Occupy();
    std::future<Result> future =
        ClientOf(m_small).SendAsync(Get().bodySink([](std::string_view) { return true; }));
    EXPECT_TRUE(m_small.WaitForRequests(2));
    std::thread ending([this] { EXPECT_FALSE(m_engine->Shutdown(1ms)); });
    const std::string told = Told(future.get());
    EXPECT_TRUE(told == "Shutdown in Body" || told == "Shutdown in Head") << told;
    m_free.Come();
    ending.join();
    EXPECT_EQ(m_ends.Told("occupier"), "Shutdown in Body");
}

TEST_F(OccupiedTest, FuturesAreFulfilledMeanwhile) {
    Occupy();
    EXPECT_EQ(Told(ClientOf(m_small).SendAsync(Get()).get()), "200 answer");
    m_free.Come();
}

/// With an executor that keeps what it is given.
TEST_F(HostCodeTest, WhatAnExecutorRunsTooLateDoesNothing) {
    std::mutex lock;
    std::vector<std::function<void()>> kept;
    Remake(EngineOptions().executor([&](std::function<void()> run) {
        const std::lock_guard<std::mutex> guard(lock);
        kept.push_back(std::move(run));
    }));
    kit::LoopbackServer server(Always());
    int pieces = 0;
    std::future<Result> future =
        ClientOf(server).SendAsync(Get().timeout(100ms).bodySink([&](std::string_view) {
            ++pieces;
            return true;
        }));
    EXPECT_EQ(Told(future.get()), "Timeout in Body");
    End();
    const std::lock_guard<std::mutex> guard(lock);
    for (const auto& run : kept) {
        run();
        run();
    }
    EXPECT_EQ(pieces, 0);
    kept.clear();
}

/// A test whose loop stands still from when it has handed a piece of host code over.
class LateLoop : public AsyncTest {
protected:
    LateLoop() {
        Remake(EngineOptions().executor([this](std::function<void()> run) {
            if (m_piece) {
                return run(); // the outcome
            }
            m_piece = std::move(run);
            m_handedOver.store(true);
        }));
    }
    void TearDown() override {
        AsyncTest::TearDown();
        m_piece = nullptr;
    }

    /// Starts a call with a sink, and waits until its first piece could run.
    Call StartAndHold(Request request) {
        Call call = Start(ClientOf(m_server), request.bodySink([this](std::string_view) {
            ++m_pieces;
            return true;
        }));
        m_held.Wait();
        return call;
    }

    kit::LoopbackServer m_server{Always()};
    std::function<void()> m_piece;
    std::atomic<bool> m_handedOver{false};
    Moment m_held;
    Moment m_goOn;
    std::atomic<int> m_pieces{0};
    const Steps m_steps{[this](const Step& step) {
        if (step.onLoop && m_handedOver.exchange(false)) {
            m_held.Come();
            m_goOn.Wait();
        }
    }};
};

TEST_F(LateLoop, LetsNoHostCodeBeginAfterCancel) {
    Call call = StartAndHold(Get());
    call.Cancel();
    m_piece();
    EXPECT_EQ(m_pieces, 0);
    m_goOn.Come();
    EXPECT_EQ(m_ends.Told(), "Cancelled in Body");
}

TEST_F(LateLoop, LetsNoHostCodeBeginAfterTheDeadline) {
    const auto deadline = std::chrono::steady_clock::now() + 100ms;
    StartAndHold(Get().timeout(50ms));
    EXPECT_TRUE(Becomes([&] { return std::chrono::steady_clock::now() > deadline; }));
    m_piece();
    EXPECT_EQ(m_pieces, 0);
    m_goOn.Come();
    EXPECT_EQ(m_ends.Told(), "Timeout in Body");
}

TEST_F(LateLoop, LetsHostCodeRunThatIsInTime) {
    StartAndHold(Get());
    m_piece();
    EXPECT_EQ(m_pieces, 1);
    m_goOn.Come();
    EXPECT_EQ(m_ends.Told(), "200 ");
}

} // namespace
