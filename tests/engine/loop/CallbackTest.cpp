// SPDX-License-Identifier: Apache-2.0
// What a callback may do, and where it runs.
#include <csignal>
#include <stdexcept>
#include <thread>

#include <pthread.h>

#include "loop/AsyncTest.h"

namespace {

/// So many threads that wait for each other.
class Meeting {
public:
    explicit Meeting(unsigned int all) : m_missing(all) {}
    void Wait() {
        std::unique_lock<std::mutex> lock(m_lock);
        --m_missing;
        m_changed.notify_all();
        m_changed.wait_for(lock, kit::PATIENCE, [this] { return m_missing == 0; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    unsigned int m_missing;
};

/// Where callbacks run, and how many of them at once.
struct Place {
    const char* name;
    unsigned int loops;
    unsigned int threads;
    bool inLoop;
    unsigned int AtOnce() const { return inLoop ? loops : threads; }
    EngineOptions Options() const {
        EngineOptions options;
        options.loops(loops).callbackThreads(threads);
        if (inLoop) {
            options.executor(&Inline);
        }
        return options;
    }
};

std::string NameOf(const ::testing::TestParamInfo<Place>& info) {
    return info.param.name;
}

/// What a callback does, on each of its threads at once.
class CallbackTest : public AsyncTest, public ::testing::WithParamInterface<Place> {
protected:
    CallbackTest() { Remake(GetParam().Options()); }

    /// Starts as many calls as callbacks run at once; they do something together.
    void Together(const Client& client, const std::function<void(unsigned int)>& act) {
        auto meeting = std::make_shared<Meeting>(GetParam().AtOnce());
        for (unsigned int number = 0; number < GetParam().AtOnce(); ++number) {
            ++m_started;
            client.Start(Get(), [=, note = m_ends.Of("first")](Result result) {
                meeting->Wait();
                act(number);
                note(std::move(result));
            });
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Places, CallbackTest,
                         ::testing::Values(Place{"OneThread", 1, 1, false}, Place{"TwoThreads", 1, 2, false},
                                           Place{"TwoThreadsAndLoops", 2, 2, false},
                                           Place{"InLoop", 1, 1, true}, Place{"InTwoLoops", 2, 1, true}),
                         &NameOf);

TEST_P(CallbackTest, MaySendAndWaitForTheAnswer) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Together(client, [&](unsigned int) { EXPECT_EQ(Told(client.Send(Get())), "200 answer"); });
    EXPECT_TRUE(m_ends.Wait(m_started));
}

TEST_P(CallbackTest, MayStartAnother) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Together(client, [&](unsigned int) { Start(client, Get(), "second"); });
    EXPECT_TRUE(m_ends.Wait(2UL * GetParam().AtOnce()));
    EXPECT_EQ(m_ends.CountOf("200 answer"), 2UL * GetParam().AtOnce());
}

TEST_P(CallbackTest, MayCancelAnother) {
    kit::LoopbackServer server(Always());
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client client = ClientOf(server);
    Call other = Start(ClientOf(silent), Get(), "other");
    Together(client, [&](unsigned int) { other.Cancel(); });
    EXPECT_EQ(m_ends.Told("other").rfind("Cancelled in ", 0), 0U);
    EXPECT_TRUE(m_ends.Wait(m_started));
}

TEST_P(CallbackTest, MayDestroyTheClient) {
    kit::LoopbackServer server(Always());
    auto client = std::make_unique<Client>(ClientOf(server));
    std::mutex lock;
    Together(*client, [&](unsigned int) {
        const std::lock_guard<std::mutex> guard(lock);
        client.reset();
    });
    EXPECT_TRUE(m_ends.Wait(m_started));
}

TEST_P(CallbackTest, MayShutTheEngineDown) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Together(client, [&](unsigned int) { EXPECT_TRUE(m_engine->Shutdown(LONG)); });
    EXPECT_TRUE(m_ends.Wait(m_started));
    EXPECT_EQ(Told(client.Send(Get())), "Shutdown in Prepare");
}

TEST_P(CallbackTest, IsNoCallAnyMoreWhenItShutsTheEngineDown) {
    kit::LoopbackServer server(Always());
    for (int round = 0; round < 20; ++round) {
        Remake(GetParam().Options());
        ++m_started;
        ClientOf(server).Start(Get(), [this, ends = m_ends.Of()](Result result) {
            EXPECT_TRUE(m_engine->Shutdown(0ms)) << "nothing was under way that could have been ended";
            ends(std::move(result));
        });
        EXPECT_TRUE(m_ends.Wait(m_started));
    }
    EXPECT_EQ(m_ends.CountOf("200 answer"), 20U);
}

TEST_P(CallbackTest, MayShutTheEngineDownWithOthersUnderWay) {
    kit::LoopbackServer server(Always());
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client client = ClientOf(server);
    const Client hopeless = ClientOf(silent);
    for (int number = 0; number < 5; ++number) {
        Start(hopeless, Get(), "other");
    }
    std::atomic<int> ended{0};
    Together(client, [&](unsigned int) { ended += m_engine->Shutdown(10ms) ? 0 : 1; });
    EXPECT_TRUE(m_ends.Wait(m_started));
    EXPECT_GE(ended, 1) << "who came second may find none left";
    EXPECT_EQ(m_ends.Told("other").rfind("Shutdown in ", 0), 0U);
}

TEST_P(CallbackTest, MayShutTheEngineDownWhileItsOwnerDoes) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    auto inCallback = std::make_shared<Moment>();
    Together(client, [&](unsigned int) {
        inCallback->Come();
        m_engine->Shutdown(LONG);
    });
    inCallback->Wait();
    m_engine->Shutdown(LONG);
    EXPECT_TRUE(m_ends.Wait(m_started));
}

TEST_P(CallbackTest, MayDestroyTheEngineAndTheClient) {
    kit::LoopbackServer server(Always());
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    for (int round = 0; round < 10; ++round) {
        Remake(GetParam().Options());
        auto client = std::make_unique<Client>(ClientOf(server));
        auto hopeless = std::make_unique<Client>(ClientOf(silent));
        Start(*hopeless, Get(), "other");
        ++m_started;
        Client first = *client;
        const std::size_t before = m_ends.Count();
        Moment ready; // nothing here holds the client or the engine when they go
        std::move(first).Start(Get(), [&, note = m_ends.Of("first")](Result result) {
            ready.Wait();
            hopeless.reset();
            client.reset();
            m_engine.reset();
            note(std::move(result));
        });
        {
            // NOLINTNEXTLINE(bugprone-use-after-move): Start() left it as it was
            const Client gone = std::move(first);
        }
        ready.Come();
        EXPECT_TRUE(m_ends.Wait(before + 2));
    }
}

TEST_P(CallbackTest, MayThrowWhatItLikes) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    for (int round = 0; round < 10; ++round) {
        ++m_started;
        client.Start(Get(), [note = m_ends.Of("thrower")](Result result) {
            note(std::move(result));
            throw std::runtime_error("of the host's own");
        });
    }
    Start(client, Get(), "after");
    EXPECT_EQ(m_ends.Told("after"), "200 answer");
    EXPECT_TRUE(m_ends.Wait(m_started));
}

TEST_P(CallbackTest, RunsWithTheSignalsOfTheThreadThatStartedTheFirstCall) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    sigset_t before;
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &mask, &before);
    const auto look = [](std::promise<std::string>& seen) {
        sigset_t now;
        pthread_sigmask(SIG_SETMASK, nullptr, &now);
        seen.set_value(std::string(sigismember(&now, SIGUSR1) == 1 ? "USR1 " : "") +
                       (sigismember(&now, SIGUSR2) == 1 ? "USR2 " : "") +
                       (sigismember(&now, SIGTERM) == 1 ? "TERM" : ""));
    };
    std::promise<std::string> first;
    client.Start(Get(), [&](const Result&) { look(first); });
    EXPECT_EQ(first.get_future().get(), "USR1 ");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::promise<std::string> second;
    client.Start(Get(), [&](const Result&) { look(second); });
    EXPECT_EQ(second.get_future().get(), "USR1 ");
    std::promise<std::string> sink;
    Start(client, Get().bodySink([&](std::string_view) {
        look(sink);
        return true;
    }));
    EXPECT_EQ(sink.get_future().get(), "USR1 ");
    m_engine->Shutdown(LONG);
    std::promise<std::string> refused;
    client.Start(Get(), [&](const Result&) { look(refused); });
    EXPECT_EQ(refused.get_future().get(), "USR1 ");
}

/// A host function in a call that is under way may end the engine; its own call ends, too.
TEST_P(CallbackTest, ASinkMayShutTheEngineDown) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    auto meeting = std::make_shared<Meeting>(GetParam().AtOnce());
    for (unsigned int number = 0; number < GetParam().AtOnce(); ++number) {
        Start(client, Get().bodySink([=](std::string_view) {
            meeting->Wait();
            EXPECT_FALSE(m_engine->Shutdown(LONG));
            return true;
        }));
    }
    EXPECT_TRUE(m_ends.Wait(m_started));
    EXPECT_EQ(m_ends.CountOf("Shutdown in Body"), GetParam().AtOnce());
}

TEST_P(CallbackTest, ASinkMayDestroyTheEngine) {
    kit::LoopbackServer server(Always());
    for (int round = 0; round < 10; ++round) {
        Remake(GetParam().Options());
        const std::size_t before = m_ends.Count();
        {
            Start(ClientOf(server), Get().bodySink([this](std::string_view) {
                m_engine.reset();
                return true;
            }));
        }
        EXPECT_TRUE(m_ends.Wait(before + 1));
    }
    EXPECT_EQ(m_ends.CountOf("Shutdown in Body"), 10U);
}

class CallbackThreadTest : public AsyncTest {};

TEST_F(CallbackThreadTest, CallbacksThatWaitForFuturesDoNotKeepEachOtherWaiting) {
    Remake(EngineOptions().callbackThreads(2));
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Meeting meeting(2);
    for (int number = 0; number < 2; ++number) {
        ++m_started;
        client.Start(Get(), [&, note = m_ends.Of()](Result result) {
            meeting.Wait();
            EXPECT_EQ(Told(client.SendAsync(Get()).get()), "200 answer");
            note(std::move(result));
        });
    }
    EXPECT_TRUE(m_ends.Wait(2));
}

/// Two more than there are threads: each may be ended by what it runs.
TEST_F(CallbackThreadTest, ACallbackMayEndItsThread) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    for (int number = 0; number < 4; ++number) {
        ++m_started;
        const std::size_t before = m_ends.Count();
        client.Start(Get(), [note = m_ends.Of("ender")](Result result) {
            note(std::move(result));
            pthread_exit(nullptr);
        });
        EXPECT_TRUE(m_ends.Wait(before + 1));
    }
    Start(client, Get(), "after");
    EXPECT_EQ(m_ends.Told("after"), "200 answer");
}

TEST_F(CallbackThreadTest, ManyCallbacksAtOnceMayEndTheirThreads) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    for (int number = 0; number < 50; ++number) {
        ++m_started;
        client.Start(Get(), [note = m_ends.Of("ender")](Result result) {
            note(std::move(result));
            pthread_exit(nullptr);
        });
    }
    EXPECT_TRUE(m_ends.Wait(m_started));
}

TEST_F(CallbackThreadTest, ASinkMayEndItsThreadAndItsCallIsCancelled) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    for (int number = 0; number < 4; ++number) {
        const std::string name = std::to_string(number);
        Start(client, Get().bodySink([](std::string_view) -> bool { pthread_exit(nullptr); }), name);
        EXPECT_EQ(m_ends.Told(name), "Cancelled in Body");
    }
    Start(client, Get(), "after");
    EXPECT_EQ(m_ends.Told("after"), "200 answer");
}

TEST_F(CallbackThreadTest, AnExecutorThatThrowsLeavesTheCallbackToTheLoop) {
    Remake(EngineOptions().executor([](const std::function<void()>&) { throw std::runtime_error("full"); }));
    kit::LoopbackServer server(Always());
    Start(ClientOf(server), Get().bodySink([](std::string_view) { return true; }));
    EXPECT_EQ(m_ends.Told(), "200 ");
}

TEST_F(CallbackThreadTest, AnExecutorThatThrowsAfterItHasRunTheCallbackRunsItOnce) {
    Remake(EngineOptions().executor([](const std::function<void()>& run) {
        run();
        throw std::runtime_error("late");
    }));
    kit::LoopbackServer server(Always());
    std::atomic<int> pieces{0};
    Start(ClientOf(server), Get().bodySink([&](std::string_view) {
        ++pieces;
        return true;
    }));
    EXPECT_EQ(m_ends.Told(), "200 ");
    EXPECT_EQ(pieces, 1);
}

TEST_F(CallbackThreadTest, AnExecutorWithAThreadOfItsOwnRunsAllOfTheHostsCode) {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::function<void()>> queue;
    bool over = false;
    std::thread thread([&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [&] { return over || !queue.empty(); });
            if (queue.empty()) {
                return;
            }
            std::vector<std::function<void()>> now;
            now.swap(queue);
            guard.unlock();
            for (const auto& run : now) {
                run();
            }
            now.clear();
            guard.lock();
        }
    });
    const std::thread::id own = thread.get_id();
    Remake(EngineOptions().callbackThreads(0).executor([&](std::function<void()> run) {
        const std::lock_guard<std::mutex> guard(lock);
        queue.push_back(std::move(run));
        changed.notify_all();
    }));
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    std::atomic<int> elsewhere{0};
    const auto look = [&] { elsewhere += std::this_thread::get_id() == own ? 0 : 1; };
    const auto open = [&]() -> BodySource {
        look();
        return [&, left = 3](char* to, std::size_t) mutable -> std::ptrdiff_t {
            look();
            *to = 'x';
            return left-- > 0 ? 1 : 0;
        };
    };
    Request request(Method::Post, "/");
    request.bodySource(open, std::nullopt).onHead([&](const Response&) {
        look();
        return true;
    });
    request.bodySink([&](std::string_view) {
        look();
        return true;
    });
    for (int number = 0; number < 10; ++number) {
        ++m_started;
        client.Start(request, [&, note = m_ends.Of()](Result result) {
            look();
            note(std::move(result));
        });
    }
    EXPECT_TRUE(m_ends.Wait(m_started));
    // A call that the engine does not take any more ends there, too.
    m_engine->Shutdown(LONG);
    ++m_started;
    client.Start(request, [&, note = m_ends.Of("refused")](Result result) {
        look();
        note(std::move(result));
    });
    EXPECT_EQ(m_ends.Told("refused"), "Shutdown in Prepare");
    EXPECT_EQ(elsewhere, 0);
    End();
    {
        const std::lock_guard<std::mutex> guard(lock);
        over = true;
        changed.notify_all();
    }
    thread.join();
}

} // namespace
