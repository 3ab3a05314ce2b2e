// SPDX-License-Identifier: Apache-2.0
// How loops begin and end.
#include <csignal>
#include <filesystem>
#include <thread>

#include <unistd.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/ResourceListener.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "loop/AsyncTest.h"
#include "tests/support/CountedExit.h"
#include "tests/support/Forked.h"

namespace {

class LifeTest : public AsyncTest {};

/// The allocator of the address sanitizer is not made for forks: a child that was forked while another thread held its
/// lock waits for that for ever.
#ifdef __SANITIZE_ADDRESS__
constexpr bool FORKED_CHILD_MAY_ALLOCATE = false;
#else
constexpr bool FORKED_CHILD_MAY_ALLOCATE = true;
#endif

/// A forked child that starts threads is beyond the thread sanitizer.
#ifdef __SANITIZE_THREAD__
constexpr bool FORKED_CHILD_MAY_START_THREADS = false;
#else
constexpr bool FORKED_CHILD_MAY_START_THREADS = true;
#endif

std::size_t Threads() {
    return kit::Resources::Now().threads;
}

TEST_F(LifeTest, ThreadsBeginWithTheFirstAsynchronousCall) {
    ScriptedServer server(AnswerAll());
    const std::size_t before = Threads();
    {
        Remake(EngineOptions().loops(2).callbackThreads(3));
        const Client client = ClientOf(server);
        EXPECT_EQ(Threads(), before);
        EXPECT_TRUE(client.Send(Get()));
        EXPECT_EQ(Threads(), before + 2) << "the server's for the connection, and the keeper";
        Start(client, Get());
        EXPECT_EQ(m_ends.Told(), "200 answer");
        EXPECT_EQ(Threads(), before + 2 + 2 + 3 + 1);
        End();
    }
    EXPECT_TRUE(server.WaitForEnds(1));
    EXPECT_TRUE(Becomes([&] { return Threads() <= before + 1; }))
        << "the server keeps threads that have ended";
}

TEST_F(LifeTest, ShutdownWaitsForCallsWithinItsGrace) {
    Moment answer;
    ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        answer.Wait();
        peer.Send(Answer("in time"));
    });
    const Client client = ClientOf(server);
    Start(client, Get());
    ASSERT_TRUE(Becomes([&] { return server.accepted() == 1; }));
    std::thread ending([this] { EXPECT_TRUE(m_engine->Shutdown(LONG)); });
    while (Told(client.Send(Get("no path"))) != "Shutdown in Prepare") { // nobody is asked anything
    }
    Start(client, Get(), "too late");
    EXPECT_EQ(m_ends.Told("too late"), "Shutdown in Prepare");
    EXPECT_EQ(Told(client.SendAsync(Get()).get()), "Shutdown in Prepare");
    answer.Come();
    EXPECT_EQ(m_ends.Told(), "200 in time");
    ending.join();
}

TEST_F(LifeTest, ShutdownEndsCallsInEachState) {
    Remake(EngineOptions().maxConnections(1, 10));
    Moment asked;
    ScriptedServer silent([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        asked.Come();
        peer.ExpectEnd();
    });
    Moment half;
    ScriptedServer halfWay([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
        half.Come();
        peer.ExpectEnd();
    });
    ScriptedServer tls([](Peer& peer) { peer.ExpectEnd(); });
    ScriptedServer busy([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send("HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n");
        peer.ExpectEnd();
    });
    const Client client = ClientOf(silent);
    Start(client, Get(), "head");
    asked.Wait();
    Start(client, Get(), "line");
    Start(ClientOf(halfWay), Get(), "body");
    Start(ClientOf(OptionsFor("https://127.0.0.1:" + std::to_string(tls.port()))
                       .tls(TlsOptions().files("/dev/null"))),
          Get(), "wrong material");
    const kit::CertificateAuthority authority;
    Start(ClientOf(OptionsFor("https://127.0.0.1:" + std::to_string(tls.port()))
                       .tls(TlsOptions().memory(authority.certificatePem()))),
          Get(), "handshake");
    Start(ClientOf(OptionsFor(busy.origin())
                       .retry(RetryPolicy().attempts(2).pauses(std::chrono::hours(1), std::chrono::hours(1)))
                       .timeout(2h)),
          Get(), "pause");
    half.Wait();
    ASSERT_TRUE(Becomes([&] { return tls.accepted() >= 1 && busy.accepted() == 1; }));
    EXPECT_FALSE(m_engine->Shutdown(20ms));
    EXPECT_EQ(m_ends.Told("head"), "Shutdown in Head");
    EXPECT_EQ(m_ends.Told("line"), "Shutdown in Lease");
    EXPECT_EQ(m_ends.Told("body"), "Shutdown in Body");
    EXPECT_EQ(m_ends.Told("handshake"), "Shutdown in Handshake");
    EXPECT_EQ(m_ends.Told("pause").rfind("Shutdown in ", 0), 0U);
    EXPECT_EQ(m_ends.Count(), 6U);
}

TEST_F(LifeTest, DestroyingTheEngineEndsItsCalls) {
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client client = ClientOf(silent);
    for (int number = 0; number < 20; ++number) {
        Start(client, Get());
    }
    End();
    EXPECT_EQ(m_ends.Count(), 20U) << "the callbacks are over, too";
    std::future<Result> after = client.SendAsync(Get());
    EXPECT_EQ(Told(after.get()), "Shutdown in Prepare");
}

TEST_F(LifeTest, CallsThatRaceWithTheEndHaveOneOutcomeEach) {
    kit::LoopbackServer server(Always());
    for (int round = 0; round < 30; ++round) {
        Remake(EngineOptions().loops(2));
        const Client client = ClientOf(server);
        std::vector<std::thread> threads;
        std::atomic<bool> over{false};
        for (int number = 0; number < 3; ++number) {
            threads.emplace_back([&] {
                while (!over) {
                    Start(client, Get());
                    std::this_thread::yield();
                }
            });
        }
        EXPECT_TRUE(Becomes([&] { return m_ends.Count() > static_cast<std::size_t>(round) * 10; }));
        m_engine->Shutdown(0ms);
        over = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        End();
        EXPECT_TRUE(m_ends.Wait(m_started)) << round;
    }
}

TEST_F(LifeTest, AnEngineMayBeMadeAndDestroyedAThousandTimes) {
    kit::LoopbackServer server(Always());
    for (int round = 0; round < 1000; ++round) {
        Remake({});
        const Client client = ClientOf(server);
        if (round % 2 == 0) {
            Start(client, Get());
        }
        if (round % 4 == 0) {
            EXPECT_TRUE(m_ends.Wait(m_started));
        }
    }
}

TEST_F(LifeTest, EachEngineHasThreadsOfItsOwnAndEndsAlone) {
    kit::LoopbackServer server(Always());
    Engine other;
    const Client one = ClientOf(server);
    const Client two(OptionsFor(server), other);
    Start(one, Get(), "one");
    Start(two, Get(), "two");
    EXPECT_TRUE(m_ends.Wait(2));
    End();
    Start(two, Get(), "after");
    EXPECT_EQ(m_ends.Told("after"), "200 answer");
}

TEST_F(LifeTest, AForkedChildLeavesItsParentsCallsAloneAndHasAnEngineOfItsOwn) {
    if (!FORKED_CHILD_MAY_START_THREADS || !FORKED_CHILD_MAY_ALLOCATE) {
        GTEST_SKIP();
    }
    Moment answer;
    ScriptedServer server([&](Peer& peer) {
        while (peer.Expect("\r\n\r\n")) {
            answer.Wait();
            peer.Send(Answer("for the parent"));
        }
    });
    kit::LoopbackServer ready(Always("for the child"));
    const Client client = ClientOf(server);
    const Client other = ClientOf(ready);
    std::vector<Call> calls;
    for (int number = 0; number < 100; ++number) {
        calls.push_back(Start(client, Get()));
    }
    for (int round = 0; round < 5; ++round) {
        const kit::Ended ended = kit::TestForked([&] {
            for (Call& call : calls) {
                call.Cancel();
            }
            EXPECT_EQ(Told(other.SendAsync(Get()).get()), "200 for the child");
            EXPECT_EQ(Told(other.Send(Get())), "200 for the child");
            calls.clear();
            m_engine.reset();
            kit::ExitCounted(HasFailure() ? 1 : 0); // what is the parent's leaks here, on purpose
        });
        EXPECT_EQ(ended.exitCode, 0) << ended.err;
    }
    answer.Come();
    EXPECT_TRUE(m_ends.Wait(100));
    EXPECT_EQ(m_ends.CountOf("200 for the parent"), 100U);
}

TEST_F(LifeTest, AProcessMayExitAtAnyMoment) {
    if (!FORKED_CHILD_MAY_START_THREADS) {
        GTEST_SKIP();
    }
    const kit::CertificateAuthority authority;
    kit::TlsLoopbackServer tls(Always(), {authority.IssueServer(), {}, kit::ClientCertificate::Ignore});
    kit::LoopbackServer plain(Always());
    const auto threads = [] {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    };
    const auto idle = threads();
    for (int round = 0; round < 10; ++round) {
        // A server's thread that is amid OpenSSL while this process forks would leave its locks taken in the child.
        ASSERT_TRUE(Becomes([&] { return threads() == idle; }));
        const kit::Ended ended = kit::TestForked([&] {
            auto* const engine = new Engine(EngineOptions().loops(2)); // which nobody ends
            const Client one(OptionsFor(plain), *engine);
            const Client two(OptionsFor(tls).tls(TlsOptions().memory(authority.certificatePem())), *engine);
            std::atomic<int>& count = *new std::atomic<int>(0);
            for (int number = 0; number < 100; ++number) {
                (number % 2 == 0 ? one : two).Start(Get(), [&](const Result&) { ++count; });
            }
            EXPECT_TRUE(Becomes([&] { return count >= round * 10; }));
        });
        ASSERT_EQ(ended.exitCode, 0) << "signal " << ended.signal << " " << ended.err;
    }
}

TEST_F(LifeTest, NoSignalIsDeliveredToItsThreads) {
    if (!FORKED_CHILD_MAY_START_THREADS) {
        GTEST_SKIP();
    }
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Start(client, Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
    const kit::Ended ended = kit::TestForked([&] {
        static std::atomic<pthread_t> taker{};
        static std::atomic<int> taken{0};
        struct sigaction action {};
        action.sa_handler = [](int) {
            taker = pthread_self();
            ++taken;
        };
        sigaction(SIGUSR2, &action, nullptr);
        Start(client, Get(), "child");
        EXPECT_EQ(m_ends.Told("child"), "200 answer");
        for (int round = 0; round < 100; ++round) {
            const int before = taken;
            kill(getpid(), SIGUSR2);
            EXPECT_TRUE(Becomes([&] { return taken > before; }));
            EXPECT_EQ(taker, pthread_self());
        }
        End();
    });
    EXPECT_EQ(ended.exitCode, 0) << ended.err;
}

} // namespace
