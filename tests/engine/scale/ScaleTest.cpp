// SPDX-License-Identifier: Apache-2.0
// Many of everything: origins, connections, threads, calls; descriptors that are used up; a day. Short, unless SCALE_ALL
// is in the environment.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>
#include <sys/resource.h>

#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/ResourceListener.h>

#include "interpose/SteadyClock.h"
#include "loop/Ends.h"
#include "scale/ChildServer.h"
#include "setting/EngineTest.h"
#include "tests/support/Forked.h"
#include "tests/support/ResourceLimit.h"

namespace {

/// @return how many: the number of the short form, or of the long one.
std::size_t Of(std::size_t few, std::size_t many) {
    return std::getenv("SCALE_ALL") != nullptr ? many : few;
}

/// @return how many descriptors this process, and each that it starts, may have: as many as the system lets it.
std::size_t Descriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_max;
}

std::size_t Heap() {
    return mallinfo2().uordblks;
}

/// A server, begun before there is a thread.
class Scale : public ::testing::Test {
protected:
    static Client ClientOf(const ChildServer& server, Engine& engine) {
        return {ClientOptions(server.origin()).timeout(2min).connectTimeout(1min), engine};
    }
    static std::size_t Number(const Client& client, const std::string& target) {
        return std::stoul(client.Send(Get(target))->body());
    }
};

/// Starts calls one after the other, so many at a time, and counts how they end.
class Chain {
public:
    Chain(const Client& client, std::size_t count) : m_client(client), m_left(count), m_ends(count) {}

    void Start(std::size_t atATime) {
        for (std::size_t i = 0; i < atATime; ++i) {
            Next();
        }
    }
    /// @return whether each call had its outcome, an answer.
    bool AllAreAnswered() {
        const auto giveUp = std::chrono::steady_clock::now() + 5min;
        while (m_ends > 0 && std::chrono::steady_clock::now() < giveUp) {
            std::this_thread::sleep_for(1ms);
        }
        return m_ends == 0 && m_failed == 0;
    }

private:
    void Next() {
        std::size_t left = m_left;
        while (left > 0 && !m_left.compare_exchange_weak(left, left - 1)) {
        }
        if (left == 0) {
            return;
        }
        m_client.Start(Get(), [this](const Result& result) {
            m_failed += Told(result) == "200 answer" ? 0 : 1;
            Next();
            --m_ends;
        });
    }

    const Client& m_client;
    std::atomic<std::size_t> m_left;
    std::atomic<std::size_t> m_ends;
    std::atomic<std::size_t> m_failed{0};
};

} // namespace

TEST_F(Scale, OfOriginsOneAfterTheOtherLeavesMemoryFlat) {
    const ChildServer server;
    const std::size_t count = Of(1000, 10'000);
    Engine engine(EngineOptions().maxConnections(1, 20));
    std::vector<std::size_t> highest(5); // of each fifth
    for (std::size_t i = 0; i < count; ++i) {
        const Client client(
            ClientOptions("http://host-" + std::to_string(i) + ".test").connectTo(server.place()), engine);
        ASSERT_EQ(Told(client.Send(Get())), "200 answer") << i;
        kit::TraceRecorder::Instance().Clear();
        std::size_t& most = highest.at(i * highest.size() / count);
        most = std::max(most, Heap());
    }
    std::printf("%zu origins: heap %zu KiB in the second fifth, %zu KiB in the last\n", count,
                highest[1] / 1024, highest[4] / 1024);
    EXPECT_LT(highest[4], highest[1] + 64UL * 1024);
}

TEST_F(Scale, OfConnectionsAtOnceIsCarriedByOneLoop) {
    const std::size_t count = std::min(Of(400, 10'000), Descriptors() - 200);
    const ChildServer server(count);
    Engine engine(EngineOptions().maxConnections(count, count));
    const Client client = ClientOf(server, engine);
    ASSERT_EQ(Told(client.SendAsync(Get()).get()), "200 answer");
    engine.CloseIdleConnections();
    const std::size_t descriptors = kit::Resources::Now().descriptors;
    const std::size_t before = Heap();
    Ends ends;
    const auto taken = TimeOf([&] {
        for (std::size_t i = 0; i < count; ++i) {
            client.Start(Get("/hold"), ends.Of("call"));
        }
        std::size_t most = 0;
        while (kit::Resources::Now().descriptors < descriptors + count && ends.Count() == 0) {
            most = std::max(most, Heap());
            std::this_thread::sleep_for(10ms);
        }
        EXPECT_TRUE(Becomes([&] { return ends.Count() == count; }));
        std::printf("%zu connections: %zu KiB of heap a call at most\n", count,
                    (most - std::min(most, before)) / count / 1024);
    });
    std::printf("%zu connections: %.1f s\n", count, std::chrono::duration<double>(taken).count());
    EXPECT_EQ(ends.CountOf("200 answer"), count);
    EXPECT_EQ(Number(client, "/highest"), count);
    engine.CloseIdleConnections();
    EXPECT_TRUE(Becomes([&] { return kit::Resources::Now().descriptors == descriptors; }));
}

TEST_F(Scale, OfCallsUnderWayIsLeftToTheParentByForkedChildren) {
    const std::size_t count = std::min(Of(400, 10'000), Descriptors() - 200);
    const ChildServer server(count);
    Engine engine(EngineOptions().maxConnections(count, count));
    const Client client = ClientOf(server, engine);
    Ends ends;
    const auto fork = [&] {
        const kit::Ended ended = kit::TestForked([&] {
            EXPECT_EQ(Told(client.SendAsync(Get()).get()), "200 answer");
            EXPECT_EQ(Told(client.Send(Get())), "200 answer");
            EXPECT_EQ(ends.Count(), 0U) << "what is the parent's has no outcome here";
        });
        EXPECT_EQ(ended.exitCode, 0) << ended.err;
    };
    const auto areOpen = [&](std::size_t connections) {
        return [&, connections] { return kit::Resources::Now().descriptors >= connections; };
    };
    for (std::size_t i = 0; i + 1 < count; ++i) {
        client.Start(Get("/hold"), ends.Of());
    }
    EXPECT_TRUE(Becomes(areOpen(count / 2)));
    fork(); // while connections are being made
    EXPECT_TRUE(Becomes(areOpen(count - 1)));
    constexpr int CHILDREN = 6;
    for (int child = 1; child < CHILDREN; ++child) {
        fork();
    }
    std::printf("%zu calls under way: %d children\n", count, CHILDREN);
    EXPECT_EQ(ends.Count(), 0U);
    client.Start(Get("/hold"), ends.Of()); // the server answers all
    EXPECT_TRUE(ends.Wait(count));
    EXPECT_EQ(ends.CountOf("200 answer"), count);
}

TEST_F(Scale, OfCallsBeyondTheDescriptorsFailsThoseAloneAndNoneLater) {
    const ChildServer server;
    Engine engine(EngineOptions().maxConnections(100, 1000));
    std::vector<Client> clients;
    for (int i = 0; i < 10; ++i) {
        clients.emplace_back(ClientOptions("http://host-" + std::to_string(i) + ".test")
                                 .connectTo(server.place())
                                 .timeout(1min),
                             engine);
    }
    ASSERT_EQ(Told(clients[0].SendAsync(Get()).get()), "200 answer");
    const std::size_t rounds = Of(3, 100);
    const std::size_t calls = 200;
    std::size_t refused = 0;
    for (std::size_t round = 0; round < rounds; ++round) {
        Ends few;
        {
            const kit::ResourceLimit limit(RLIMIT_NOFILE, kit::Resources::Now().descriptors + 20);
            for (std::size_t i = 0; i < calls; ++i) {
                clients[i % clients.size()].Start(Get(), few.Of());
            }
            ASSERT_TRUE(few.Wait(calls));
        }
        refused += few.CountOf("Connect in Connect");
        ASSERT_EQ(few.CountOf("200 answer") + few.CountOf("Connect in Connect"), calls);
        Ends many;
        for (std::size_t i = 0; i < calls; ++i) {
            clients[i % clients.size()].Start(Get(), many.Of());
        }
        ASSERT_TRUE(many.Wait(calls));
        ASSERT_EQ(many.CountOf("200 answer"), calls);
        engine.CloseIdleConnections();
    }
    std::printf("%zu rounds of %zu calls: %zu had no descriptor\n", rounds, calls, refused);
    EXPECT_GT(refused, 0U);
}

TEST_F(Scale, OfThreadsAndALoopOnOnePoolAnswersAll) {
    const ChildServer server;
    constexpr std::size_t CONNECTIONS = 16;
    Engine engine(EngineOptions().maxConnections(CONNECTIONS, CONNECTIONS));
    const Client client = ClientOf(server, engine);
    const std::size_t each = Of(4, 200);
    const std::size_t onLoop = Of(1000, 50'000);
    Chain chain(client, onLoop);
    std::atomic<std::size_t> answered{0};
    const auto taken = TimeOf([&] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 256; ++i) {
            threads.emplace_back([&] {
                for (std::size_t call = 0; call < each; ++call) {
                    answered += Told(client.Send(Get())) == "200 answer" ? 1 : 0;
                }
            });
        }
        chain.Start(200);
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_TRUE(chain.AllAreAnswered());
    });
    EXPECT_EQ(answered, 256 * each);
    EXPECT_LE(Number(client, "/highest"), CONNECTIONS);
    std::printf("256 threads and a loop over %zu connections: %zu and %zu calls, %.1f s\n", CONNECTIONS,
                256 * each, onLoop, std::chrono::duration<double>(taken).count());
}

TEST_F(Scale, OfADayOfCallsLeavesMemoryFlatAndRenewsConnections) {
    const ChildServer server;
    Engine engine;
    const Client client(ClientOptions("http://localhost:" + std::to_string(server.port())), engine);
    const std::size_t seconds = Of(3600, 24UL * 3600);
    std::vector<std::size_t> highest(5);
    for (std::size_t second = 0; second < seconds; ++second) {
        kit::AdvanceSteadyClock(1s);
        ASSERT_EQ(Told(client.Send(Get())), "200 answer") << second;
        kit::TraceRecorder::Instance().Clear();
        std::size_t& most = highest.at(second * highest.size() / seconds);
        most = std::max(most, Heap());
    }
    const std::size_t accepted = Number(client, "/accepted");
    std::printf("%zu s: %zu connections, heap %zu KiB in the second fifth, %zu KiB in the last\n", seconds,
                accepted, highest[1] / 1024, highest[4] / 1024);
    // Ten minutes each, or up to a tenth less.
    EXPECT_GE(accepted, seconds / 600);
    EXPECT_LE(accepted, seconds / 540 + 2);
    EXPECT_LT(highest[4], highest[1] + 64UL * 1024);
}
