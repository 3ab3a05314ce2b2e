// SPDX-License-Identifier: Apache-2.0
// What an observer sees of calls on the host's thread, and what it may do.
#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"
#include "setting/Witness.h"

namespace {

class ObserverTest : public ::testing::Test {
protected:
    using Notes = std::vector<std::string>;

    /// An engine whose observer does something besides noting.
    void Observe(Witness::Act act = {}, EngineOptions options = {}) {
        m_witness = std::make_shared<Witness>(std::move(act));
        m_engine = std::make_unique<Engine>(options.observer(m_witness));
    }
    Client ClientOf(ClientOptions options) { return Client(std::move(options), *m_engine); }
    Client ClientOf(const kit::LoopbackServer& server) { return ClientOf(OptionsFor(server)); }
    double Errors() const {
        return m_engine->statistics().sum("httpclient_host_errors_total", {{"where", "observer"}});
    }

    std::shared_ptr<Witness> m_witness;
    std::unique_ptr<Engine> m_engine;
};

} // namespace

TEST_F(ObserverTest, IsAnOptionLikeOthers) {
    const auto witness = std::make_shared<Witness>();
    const EngineOptions options = EngineOptions().observer(witness);
    EXPECT_EQ(options.observer(), witness);
    EXPECT_EQ(EngineOptions(options).observer(), witness);
    EXPECT_EQ(EngineOptions().observer(), nullptr);
}

TEST_F(ObserverTest, SeesStartAttemptAndEndInOrder) {
    Observe();
    kit::LoopbackServer server(Always());
    ASSERT_EQ(Told(ClientOf(server).Send(Post("body", "/path?secret"))), "200 answer");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start POST /path", "Attempt 1: 200", "End 1: 200"}));
    for (const std::thread::id thread : m_witness->threads()) {
        EXPECT_EQ(thread, std::this_thread::get_id());
    }
}

TEST_F(ObserverTest, SeesEachAttempt) {
    Observe();
    std::atomic<int> request{0};
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        const int now = request++;
        return now == 0   ? kit::Respond(503, {{"Connection", "close"}})
               : now == 1 ? kit::Silence(kit::After::Close)
                          : kit::Respond(200);
    });
    const RetryPolicy policy = RetryPolicy().attempts(3).pauses(1ms, 1ms);
    ASSERT_EQ(Told(ClientOf(OptionsFor(server).retry(policy)).Send(Get("/path"))), "200 ");
    EXPECT_EQ(m_witness->notes(),
              (Notes{"Start GET /path", "Attempt 1: 503", "Attempt 2: ConnectionLost in Head",
                     "Attempt 3: 200", "End 3: 200"}));
}

TEST_F(ObserverTest, SeesNoAttemptWhereThereIsNone) {
    Observe();
    ASSERT_EQ(Told(ClientOf(OptionsFor("http://127.0.0.1:1")).Send(Get("no path"))),
              "InvalidRequest in Prepare");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start GET (no path)", "End 0: InvalidRequest in Prepare"}));
}

TEST_F(ObserverTest, SeesFailures) {
    Observe();
    ASSERT_EQ(Told(ClientOf(OptionsFor("http://127.0.0.1:1")).Send(Get())), "Connect in Connect");
    EXPECT_EQ(m_witness->notes(),
              (Notes{"Start GET /", "Attempt 1: Connect in Connect", "End 1: Connect in Connect"}));
}

TEST_F(ObserverTest, SeesACallOfAnEngineThatIsShutDown) {
    Observe();
    const Client client = ClientOf(OptionsFor("http://127.0.0.1:1"));
    m_engine->Shutdown(0ms);
    ASSERT_EQ(Told(client.Send(Get())), "Shutdown in Prepare");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start GET /", "End 0: Shutdown in Prepare"}));
}

TEST_F(ObserverTest, SeesWhereACallGoesAndHowLongItTook) {
    std::string label;
    std::string origin;
    std::vector<std::chrono::nanoseconds> totals;
    Observe([&](Event, CallView& call) {
        label = call.label();
        origin = call.origin();
        totals.push_back(call.timings().total());
    });
    kit::LoopbackServer server(
        [](const kit::RecordedRequest&) { return kit::Delayed(kit::Respond(200), 10ms); });
    const Result result = ClientOf(server).Send(Get().label("/orders/{id}"));
    ASSERT_TRUE(result);
    EXPECT_EQ(label, "/orders/{id}");
    EXPECT_EQ(origin, server.url(""));
    ASSERT_EQ(totals.size(), 3U);
    EXPECT_EQ(totals[0], 0ns);
    EXPECT_GE(totals[1], 10ms);
    EXPECT_EQ(totals[2], result->timings().total());
}

TEST_F(ObserverTest, AddsHeaderFieldsToEveryAttempt) {
    Observe([](Event event, CallView& call) {
        if (event == Event::Start) {
            call.addHeader("traceparent", "00-trace");
        }
    });
    std::atomic<int> request{0};
    kit::LoopbackServer server(
        [&](const kit::RecordedRequest&) { return kit::Respond(request++ == 0 ? 503 : 200); });
    const RetryPolicy policy = RetryPolicy().attempts(2).pauses(1ms, 1ms);
    ASSERT_TRUE(ClientOf(OptionsFor(server).retry(policy)).Send(Get().header("Own", "field")));
    ASSERT_EQ(server.requests().size(), 2U);
    for (const kit::RecordedRequest& sent : server.requests()) {
        EXPECT_NE(sent.raw.find("Own: field\r\ntraceparent: 00-trace\r\n"), std::string::npos) << sent.raw;
    }
}

TEST_F(ObserverTest, CannotBreakTheRulesOfAHead) {
    Observe([](Event event, CallView& call) {
        if (event == Event::Start) {
            call.addHeader("traceparent", "a\r\nforged: b");
        }
    });
    kit::LoopbackServer server(Always());
    EXPECT_EQ(Told(ClientOf(server).Send(Get())), "InvalidRequest in Prepare");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(ObserverTest, MayHaveTheConnectionClosed) {
    Observe([](Event event, CallView& call) {
        if (event == Event::Start) {
            call.addHeader("Connection", "close");
        }
    });
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
}

TEST_F(ObserverTest, AddsHeaderFieldsAtTheStartOnly) {
    std::vector<Event> refused;
    Observe([&](Event event, CallView& call) {
        try {
            call.addHeader("A", "b");
        } catch (const std::logic_error&) {
            refused.push_back(event);
        }
    });
    kit::LoopbackServer server(Always());
    ASSERT_TRUE(ClientOf(server).Send(Get()));
    EXPECT_EQ(refused, (std::vector<Event>{Event::Attempt, Event::End}));
}

TEST_F(ObserverTest, KeepsItsContextWithTheCall) {
    std::weak_ptr<int> context;
    std::vector<int> seen;
    Observe([&](Event event, CallView& call) {
        if (event == Event::Start) {
            EXPECT_EQ(call.context(), nullptr);
            const auto made = std::make_shared<int>(42);
            context = made;
            call.setContext(made);
        } else {
            seen.push_back(*std::static_pointer_cast<int>(call.context()));
        }
    });
    kit::LoopbackServer server(Always());
    const Result result = ClientOf(server).Send(Get());
    ASSERT_TRUE(result);
    EXPECT_EQ(seen, (std::vector<int>{42, 42}));
    EXPECT_TRUE(context.expired()) << "the call is over";
}

TEST_F(ObserverTest, ThatThrowsChangesNothingAndIsCounted) {
    Observe([](Event, CallView&) { throw std::runtime_error("the observer's"); });
    kit::LoopbackServer server(Always());
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Get())), "200 answer, attempts 1");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start GET /", "Attempt 1: 200", "End 1: 200"}));
    EXPECT_EQ(Errors(), 3);
}

TEST_F(ObserverTest, MaySendItself) {
    std::unique_ptr<Client> client;
    kit::LoopbackServer server(Always());
    m_engine = std::make_unique<Engine>();
    Engine inner;
    client = std::make_unique<Client>(OptionsFor(server), inner);
    Observe([&](Event, CallView&) { EXPECT_EQ(Told(client->Send(Get("/inner"))), "200 answer"); });
    EXPECT_EQ(Told(ClientOf(server).Send(Get())), "200 answer");
    EXPECT_EQ(server.requests().size(), 4U);
}

TEST_F(ObserverTest, MayShutTheEngineDown) {
    for (const Event when : {Event::Start, Event::Attempt, Event::End}) {
        Observe([&](Event event, CallView&) {
            if (event == when) {
                m_engine->Shutdown(0ms);
            }
        });
        kit::LoopbackServer server(Always());
        EXPECT_EQ(Told(ClientOf(server).Send(Get())),
                  when == Event::Start ? "Shutdown in Prepare" : "200 answer");
        EXPECT_EQ(m_witness->notes().size(), when == Event::Start ? 2U : 3U);
    }
}
