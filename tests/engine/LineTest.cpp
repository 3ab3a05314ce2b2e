// SPDX-License-Identifier: Apache-2.0
// A fair pool, through calls: who waits, who is refused, and who is served next.
#include <atomic>
#include <cerrno>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/ResourceListener.h>

#include "interpose/ThreadCreate.h"
#include "setting/EngineTest.h"
#include "setting/NameService.h"
#include "setting/ScriptedServer.h"

namespace {

class Line : public EngineTest {
protected:
    Line() : EngineTest(EngineOptions().maxConnections(1, 100).maxWaiting(3)) {}
};

/// A call on a thread of its own.
class Calling {
public:
    Calling(const Client& client, Request request)
        : m_thread(
              [this, client, request = std::move(request)] { m_told = ToldFully(client.Send(request)); }) {}
    ~Calling() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    Calling(const Calling&) = delete;
    Calling& operator=(const Calling&) = delete;
    std::string Told() {
        m_thread.join();
        return m_told;
    }

private:
    std::string m_told;
    std::thread m_thread;
};

} // namespace

TEST_F(Line, IsServedInOrder) {
    // A busy machine may need more time until a call is in line.
    std::vector<std::string> order;
    const std::vector<std::string> wanted = {"/0", "/1", "/2", "/3"};
    for (auto settling = 20ms; order != wanted && settling < 2s; settling *= 5) {
        order.clear();
        Moment release;
        kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
            if (request.target == "/0") {
                release.Wait();
            }
            return kit::Respond(200, {}, request.target);
        });
        const Client client = ClientOf(server);
        std::vector<std::unique_ptr<Calling>> calls;
        for (const std::string& target : wanted) {
            calls.push_back(std::make_unique<Calling>(client, Get(target)));
            ASSERT_TRUE(server.WaitForConnections(1));
            std::this_thread::sleep_for(settling);
        }
        release.Come();
        for (std::size_t i = 0; i < calls.size(); ++i) {
            EXPECT_EQ(calls[i]->Told(), "200 " + wanted[i] + ", attempts 1" + (i == 0 ? "" : ", reused"));
        }
        for (const kit::RecordedRequest& request : server.requests()) {
            order.push_back(request.target);
        }
        EXPECT_EQ(server.connectionsAccepted(), 1U);
    }
    EXPECT_EQ(order, wanted);
}

TEST_F(Line, ThatIsFullRefusesAtOnce) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        release.Wait();
        return kit::Respond(200);
    });
    const Client client = ClientOf(server);
    Calling holder(client, Get());
    ASSERT_TRUE(server.WaitForConnections(1));
    // Of six, three have a place.
    std::atomic<int> refused{0};
    std::atomic<int> answered{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&] {
            const std::string told = ToldFully(client.Send(Post()));
            refused += told == "Overloaded in Lease, not sent, retryable, attempts 0" ? 1 : 0;
            answered += told.compare(0, 4, "200 ") == 0 ? 1 : 0;
        });
    }
    EXPECT_TRUE(Becomes([&] { return refused == 3; })) << "at once: nobody was answered yet";
    EXPECT_EQ(answered, 0);
    release.Come();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(refused, 3);
    EXPECT_EQ(answered, 3);
}

TEST_F(Line, GivesTheSlotOfAClosedConnectionToTheNext) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
        if (request.number == 1 && request.connection == 1) {
            release.Wait();
        }
        return kit::Then(kit::Respond(200), kit::After::Close);
    });
    const Client client = ClientOf(server);
    Calling first(client, Get());
    ASSERT_TRUE(server.WaitForConnections(1));
    Calling second(client, Get());
    Calling third(client, Get());
    release.Come();
    EXPECT_EQ(first.Told(), "200 , attempts 1");
    EXPECT_EQ(second.Told().substr(0, 4), "200 ");
    EXPECT_EQ(third.Told().substr(0, 4), "200 ");
}

TEST_F(Line, OfOneOriginHoldsUpNoOther) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        release.Wait();
        return kit::Respond(200);
    });
    kit::LoopbackServer other(Always());
    const Client client = ClientOf(server);
    Calling first(client, Get());
    Calling second(client, Get());
    EXPECT_EQ(Told(ClientOf(other).Send(Get())), "200 answer");
    release.Come();
}

TEST_F(Line, ServesManyThreadsOverFewConnections) {
    kit::LoopbackServer server(Always());
    Engine engine(EngineOptions().maxConnections(3, 3));
    const Client client(OptionsFor(server), engine);
    std::atomic<int> answers{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < 50; ++call) {
                const Result result = call % 2 == 0 ? client.Send(Get()) : client.Send(Post());
                answers += result && result->body() == "answer" ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(answers, 400);
    EXPECT_LE(server.connectionsAccepted(), 3U);
}

TEST_F(Line, ClosesIdleConnectionsOfOthersBeyondTheLimitOfAll) {
    kit::LoopbackServer one(Always("one"));
    kit::LoopbackServer two(Always("two"));
    Engine engine(EngineOptions().maxConnections(5, 1));
    EXPECT_EQ(Told(Client(OptionsFor(one), engine).Send(Get())), "200 one");
    EXPECT_EQ(Told(Client(OptionsFor(two), engine).Send(Get())), "200 two");
    EXPECT_TRUE(one.WaitForOpenConnections(0));
    EXPECT_EQ(two.openConnections(), 1U);
}

namespace {

// The undefined-behaviour sanitizer needs descriptors of its own when it looks at an object's type.
#ifdef __SANITIZE_ADDRESS__
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif

/// While it lives, so many more descriptors may be opened.
class FewDescriptors {
public:
    explicit FewDescriptors(int more) {
        getrlimit(RLIMIT_NOFILE, &m_before);
        // The lowest that are free are taken first.
        std::vector<int> taken;
        int last = -1;
        for (int i = 0; i < more; ++i) {
            last = dup(0);
            taken.push_back(last);
        }
        for (const int fd : taken) {
            close(fd);
        }
        rlimit few = m_before;
        few.rlim_cur = static_cast<rlim_t>(last) + 1;
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    rlimit m_before{};
};

} // namespace

TEST_F(Line, ClosesIdleConnectionsOfOthersWhereDescriptorsAreUsedUp) {
    if (SANITIZED) {
        GTEST_SKIP();
    }
    // The server needs descriptors, too: one is connected to, and accepts no more than its backlog does.
    kit::LoopbackServer one(Always("one"));
    kit::LoopbackServer two(Always("two"));
    Engine engine;
    const Client first(OptionsFor(one), engine);
    const Client second(OptionsFor(two), engine);
    ASSERT_EQ(Told(first.Send(Get())), "200 one");
    ASSERT_EQ(Told(second.Send(Get())), "200 two");
    engine.CloseIdleConnections();
    ASSERT_TRUE(one.WaitForOpenConnections(0) && two.WaitForOpenConnections(0));
    ASSERT_EQ(Told(first.Send(Get())), "200 one");
    std::string told;
    {
        const FewDescriptors none(1); // for the server's own end
        const int last = dup(0);
        std::thread later([&] {
            one.WaitForOpenConnections(0); // the idle one was closed for it
            close(last);
        });
        told = Told(second.Send(Get()));
        later.join();
    }
    EXPECT_EQ(told, "200 two");
    EXPECT_EQ(Told(first.Send(Get())), "200 one");
}

TEST_F(Line, SaysThatDescriptorsAreUsedUpWhereNothingIsIdle) {
    if (SANITIZED) {
        GTEST_SKIP();
    }
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer"); // everything that lasts is made
    m_engine.CloseIdleConnections();
    ASSERT_TRUE(server.WaitForOpenConnections(0));
    {
        const FewDescriptors none(1);
        const int last = dup(0);
        const Result result = client.Send(Get());
        close(last);
        EXPECT_EQ(ToldFully(result), "Connect in Connect, not sent, retryable, attempts 1");
        EXPECT_EQ(result.failure().code(), std::errc::too_many_files_open);
    }
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
}

TEST_F(Line, SaysThatDescriptorsAreUsedUpBeforeTheFirstUse) {
    if (SANITIZED) {
        GTEST_SKIP();
    }
    Engine engine;
    const Client client(ClientOptions("http://127.0.0.1:1"), engine);
    {
        const FewDescriptors none(1);
        const int last = dup(0);
        const Result result = client.Send(Get());
        close(last);
        EXPECT_EQ(ToldFully(result), "Internal in Prepare, not sent, attempts 0");
        EXPECT_EQ(result.failure().code(), std::errc::too_many_files_open);
        EXPECT_EQ(result.failure().message(), "Internal in Prepare: Too many open files");
    }
    EXPECT_EQ(Told(client.Send(Get())), "Connect in Connect");
}

TEST(Threads, ThatCannotBeStartedForALookUpAreSaid) {
    Engine engine;
    NameService names;
    names.Set("host.test", {"127.0.0.1"});
    const Client client(ClientOptions("http://host.test:1"), engine);
    {
        const kit::RefusedThread refused;
        const Result result = client.Send(Get());
        EXPECT_EQ(ToldFully(result), "Internal in Resolve, not sent, attempts 1");
        EXPECT_EQ(result.failure().code(), std::errc::resource_unavailable_try_again);
        EXPECT_EQ(result.failure().message(),
                  "Internal in Resolve: " + std::generic_category().message(EAGAIN));
    }
}
