// SPDX-License-Identifier: Apache-2.0
// What is counted of calls and connections, each thing once.
#include "engine/Statistics.h"

#include <atomic>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "engine/Counts.h"
#include "setting/EngineTest.h"
#include "setting/NameService.h"
#include "setting/ScriptedServer.h"

namespace {

using Labels = EngineStatistics::Labels;

class StatisticsTest : public EngineTest {
protected:
    explicit StatisticsTest(EngineOptions options = {}) : EngineTest(std::move(options)) {}

    double Sum(const std::string& name, const Labels& having = {}) {
        return m_engine.statistics().sum("httpclient_" + name, having);
    }
    double Calls(const std::string& outcome) { return Sum("calls_total", {{"outcome", outcome}}); }
    double Closed(const std::string& reason) { return Sum("connections_closed_total", {{"reason", reason}}); }
    /// Of all connections: "opened 2, closed 1, active 0, idle 1".
    std::string Connections() {
        const auto count = [&](const std::string& name, const Labels& having = {}) {
            return std::to_string(static_cast<int>(Sum(name, having)));
        };
        return "opened " + count("connections_opened_total") + ", closed " +
               count("connections_closed_total") + ", active " + count("connections", {{"state", "active"}}) +
               ", idle " + count("connections", {{"state", "idle"}});
    }
};

class StatisticsOfOneConnection : public StatisticsTest {
protected:
    StatisticsOfOneConnection() : StatisticsTest(EngineOptions().maxConnections(1, 1)) {}
};

/// A source that throws when it is asked.
std::ptrdiff_t ThrowingSource(char* /*to*/, std::size_t /*room*/) {
    throw std::runtime_error("the source's");
}

} // namespace

TEST_F(StatisticsTest, OfAnEngineThatWasNeverUsedAreNothing) {
    const EngineStatistics statistics = m_engine.statistics();
    for (std::size_t index = 0; index < statistics.sampleCount(); ++index) {
        EXPECT_EQ(statistics.name(index).find("httpclient_calls"), std::string::npos);
    }
    EXPECT_EQ(statistics.sum("httpclient_host_errors_total"), 0);
    EXPECT_THROW(static_cast<void>(statistics.name(statistics.sampleCount())), std::out_of_range);
    EXPECT_THROW(static_cast<void>(statistics.labels(statistics.sampleCount())), std::out_of_range);
    EXPECT_THROW(static_cast<void>(statistics.value(statistics.sampleCount())), std::out_of_range);
}

TEST_F(StatisticsTest, AreCopiedAndMovedWhole) {
    kit::LoopbackServer server(Always());
    ASSERT_EQ(Told(ClientOf(server).Send(Get())), "200 answer");
    EngineStatistics first = m_engine.statistics();
    const std::string text = first.text();
    EngineStatistics copy(first);
    EXPECT_EQ(copy.text(), text);
    const EngineStatistics moved(std::move(first));
    EXPECT_EQ(moved.text(), text);
    EXPECT_EQ(first.sampleCount(), 0U); // NOLINT(bugprone-use-after-move): as it is promised
    EXPECT_EQ(first.text(), "");
    EXPECT_EQ(first.sum("httpclient_calls_total"), 0);
    first = moved;
    EXPECT_EQ(first.text(), text);
    copy = m_engine.statistics();
    EXPECT_EQ(copy.sampleCount(), moved.sampleCount());
}

TEST_F(StatisticsTest, CountEachCallByOriginMethodLabelAndOutcome) {
    kit::LoopbackServer server([](const kit::RecordedRequest& request) {
        return kit::Respond(std::stoi(request.target.substr(1)), {}, "");
    });
    const Client client = ClientOf(server);
    for (const char* target : {"/200", "/201", "/302", "/404", "/599"}) {
        ASSERT_TRUE(client.Send(Get(target)));
    }
    ASSERT_TRUE(client.Send(Post("body", "/200").label("/orders/{id}")));
    ASSERT_FALSE(client.Send(Get("no path")));
    const EngineStatistics statistics = m_engine.statistics();
    const std::string origin = server.url("");
    const auto calls = [&](const std::string& method, const std::string& label, const std::string& outcome) {
        return statistics.sum(
            "httpclient_calls_total",
            {{"origin", origin}, {"method", method}, {"label", label}, {"outcome", outcome}});
    };
    EXPECT_EQ(calls("GET", "", "2xx"), 2);
    EXPECT_EQ(calls("GET", "", "3xx"), 1);
    EXPECT_EQ(calls("GET", "", "4xx"), 1);
    EXPECT_EQ(calls("GET", "", "5xx"), 1);
    EXPECT_EQ(calls("GET", "", "InvalidRequest"), 1);
    EXPECT_EQ(calls("POST", "/orders/{id}", "2xx"), 1);
    EXPECT_EQ(statistics.sum("httpclient_calls_total"), 7);
    EXPECT_EQ(statistics.sum("httpclient_call_duration_seconds_count"), 7);
    EXPECT_EQ(statistics.sum("httpclient_lease_wait_seconds_count"), 6) << "one never asked for a connection";
}

TEST_F(StatisticsTest, CountAFailureByItsKind) {
    NameService names;
    ASSERT_FALSE(ClientOf(OptionsFor("http://127.0.0.1:1")).Send(Get()));
    ASSERT_FALSE(ClientOf(OptionsFor("http://none.test")).Send(Get()));
    kit::LoopbackServer silent([](const kit::RecordedRequest&) { return kit::Silence(kit::After::Stall); });
    ASSERT_FALSE(ClientOf(silent).Send(Get().timeout(20ms)));
    kit::LoopbackServer lost([](const kit::RecordedRequest&) { return kit::Silence(kit::After::Close); });
    ASSERT_FALSE(ClientOf(lost).Send(Post()));
    kit::LoopbackServer wrong([](const kit::RecordedRequest&) { return kit::Raw("nonsense\r\n\r\n"); });
    ASSERT_FALSE(ClientOf(wrong).Send(Get()));
    kit::LoopbackServer large(Always("large"));
    ASSERT_FALSE(ClientOf(OptionsFor(large).maxBody(1)).Send(Get()));
    ASSERT_FALSE(ClientOf(large).Send(Get().bodySink([](std::string_view) { return false; })));
    ASSERT_FALSE(ClientOf(OptionsFor("https://127.0.0.1:" + std::to_string(wrong.port()))
                              .tls(TlsOptions().files("/dev/null")))
                     .Send(Get()));
    EXPECT_EQ(Calls("Connect"), 1);
    EXPECT_EQ(Calls("Resolve"), 1);
    EXPECT_EQ(Calls("Timeout"), 1);
    EXPECT_EQ(Calls("ConnectionLost"), 1);
    EXPECT_EQ(Calls("Protocol"), 1);
    EXPECT_EQ(Calls("TooLarge"), 1);
    EXPECT_EQ(Calls("Cancelled"), 1);
    EXPECT_EQ(Calls("Tls"), 1);
    EXPECT_EQ(Sum("calls_total"), 8);
    EXPECT_EQ(Sum("calls_total", {{"origin", "http://none.test:80"}}), 1);
    const Client client = ClientOf(large);
    m_engine.Shutdown(0ms);
    ASSERT_FALSE(client.Send(Get()));
    EXPECT_EQ(Calls("Shutdown"), 1);
}

TEST_F(StatisticsTest, TellHowLongCallsTook) {
    kit::LoopbackServer server(
        [](const kit::RecordedRequest&) { return kit::Delayed(kit::Respond(200), 30ms); });
    ASSERT_TRUE(ClientOf(server).Send(Get()));
    const EngineStatistics statistics = m_engine.statistics();
    const auto upTo = [&](const std::string& bound) {
        return statistics.sum("httpclient_call_duration_seconds_bucket", {{"le", bound}});
    };
    EXPECT_EQ(upTo("0.025"), 0);
    EXPECT_EQ(upTo("60"), 1);
    EXPECT_EQ(upTo("+Inf"), 1);
    EXPECT_GE(statistics.sum("httpclient_call_duration_seconds_sum"), 0.03);
    EXPECT_LT(statistics.sum("httpclient_call_duration_seconds_sum"), 20);
}

TEST_F(StatisticsTest, PutATimeIntoTheFirstBucketThatHoldsIt) {
    engine::Histogram histogram;
    for (const auto time :
         {0ns, 499'999ns, 500'000ns, 500'001ns, 1'000'000ns, 60'000'000'000ns, 60'000'000'001ns}) {
        histogram.Count(time);
    }
    EXPECT_EQ(histogram.count(0), 3U);
    EXPECT_EQ(histogram.count(1), 2U);
    EXPECT_EQ(histogram.count(engine::Histogram::BOUNDS.size() - 1), 1U);
    EXPECT_EQ(histogram.count(engine::Histogram::BOUNDS.size()), 1U);
    EXPECT_EQ(histogram.sum(), 120'002'500'001ns);
}

TEST_F(StatisticsTest, PutATimeAtEachBoundBeforeItAndOneBeyondBehindIt) {
    const auto bucketOf = [](std::chrono::nanoseconds time) {
        engine::Histogram histogram;
        histogram.Count(time);
        std::size_t bucket = 0;
        while (histogram.count(bucket) == 0) {
            ++bucket;
        }
        return bucket;
    };
    for (std::size_t index = 0; index < engine::Histogram::BOUNDS.size(); ++index) {
        const std::chrono::nanoseconds bound = engine::Histogram::BOUNDS[index];
        EXPECT_EQ(bucketOf(bound - 1ns), index);
        EXPECT_EQ(bucketOf(bound), index);
        EXPECT_EQ(bucketOf(bound + 1ns), index + 1);
    }
    EXPECT_EQ(bucketOf(std::chrono::hours(24 * 365)), engine::Histogram::BOUNDS.size());
}

TEST_F(StatisticsTest, CountTheBytesOfHeadsAndBodies) {
    ScriptedServer server([](Peer& peer) {
        while (peer.Expect("question")) {
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer");
        }
    });
    const Client client = ClientOf(OptionsFor(server.origin()));
    for (int call = 0; call < 2; ++call) {
        ASSERT_TRUE(client.Send(Post()));
    }
    m_engine.CloseIdleConnections();
    ASSERT_TRUE(server.WaitForEnds(1));
    EXPECT_EQ(Sum("bytes_total", {{"direction", "sent"}}), server.received().front().size());
    EXPECT_EQ(Sum("bytes_total", {{"direction", "received"}}),
              2.0 * std::strlen("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer"));
}

TEST_F(StatisticsTest, TellConnectionsThatAreIdleOrInUse) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
        if (request.target == "/held") {
            release.Wait();
        }
        return kit::Respond(200);
    });
    const Client client = ClientOf(server);
    ASSERT_TRUE(client.Send(Get()));
    EXPECT_EQ(Connections(), "opened 1, closed 0, active 0, idle 1");
    std::thread held([&] { EXPECT_TRUE(client.Send(Get("/held"))); });
    ASSERT_TRUE(server.WaitForRequests(2));
    EXPECT_EQ(Connections(), "opened 1, closed 0, active 1, idle 0");
    ASSERT_TRUE(client.Send(Get()));
    EXPECT_EQ(Connections(), "opened 2, closed 0, active 1, idle 1");
    release.Come();
    held.join();
    EXPECT_EQ(Connections(), "opened 2, closed 0, active 0, idle 2");
    m_engine.CloseIdleConnections();
    EXPECT_EQ(Connections(), "opened 2, closed 2, active 0, idle 0");
    EXPECT_EQ(Closed("shutdown"), 2);
}

TEST_F(StatisticsTest, TellOfTheConnectionsOfManyServers) {
    constexpr int MANY = 70; // more than room is made for at first
    kit::LoopbackServer server(Always());
    for (int number = 0; number < MANY; ++number) {
        const Client client = ClientOf(OptionsFor("http://host" + std::to_string(number) + ".test")
                                           .connectTo("127.0.0.1:" + std::to_string(server.port())));
        ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    }
    EXPECT_EQ(Sum("connections", {{"state", "idle"}}), MANY);
}

TEST_F(StatisticsTest, TellWhyAConnectionWasClosed) {
    const auto send = [&](const kit::Reply& reply) {
        kit::LoopbackServer server([&](const kit::RecordedRequest&) { return reply; });
        const Client client = ClientOf(server);
        const Result first = client.Send(Get());
        EXPECT_EQ(server.connectionsAccepted(), 1U);
    };
    send(kit::Respond(200, {{"Connection", "close"}}));
    EXPECT_EQ(Closed("server"), 1);
    send(kit::RespondUntilClose(200, {}, "text"));
    EXPECT_EQ(Closed("server"), 2);
    send(kit::Respond(200, {{"Keep-Alive", "timeout=0"}}));
    EXPECT_EQ(Closed("server"), 3);
    send(kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nab"));
    EXPECT_EQ(Closed("surplus"), 1);
    send(kit::Raw("nonsense\r\n\r\n"));
    EXPECT_EQ(Closed("error"), 1);
    EXPECT_EQ(Connections(), "opened 5, closed 5, active 0, idle 0");
    send(kit::Respond(200));
    m_engine.Shutdown(0ms);
    EXPECT_EQ(Closed("shutdown"), 1);
    EXPECT_EQ(Connections(), "opened 6, closed 6, active 0, idle 0");
}

TEST_F(StatisticsTest, TellOfAKeptConnectionThatTheServerHasClosed) {
    ScriptedServer server([](Peer& peer) {
        if (peer.Expect("\r\n\r\n")) {
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
        }
    });
    const Client client = ClientOf(OptionsFor(server.origin()));
    ASSERT_TRUE(client.Send(Get()));
    ASSERT_TRUE(server.WaitForEnds(1));
    ASSERT_TRUE(client.Send(Get()));
    EXPECT_EQ(Closed("server"), 1);
    EXPECT_EQ(Sum("connections_opened_total"), 2);
    EXPECT_EQ(Sum("retries_total"), 0) << "the replacement of a dead connection is none";
}

TEST_F(StatisticsOfOneConnection, TellOfAConnectionThatMadeRoomForAnother) {
    kit::LoopbackServer first(Always());
    kit::LoopbackServer second(Always());
    ASSERT_TRUE(ClientOf(first).Send(Get()));
    ASSERT_TRUE(ClientOf(second).Send(Get()));
    EXPECT_EQ(Sum("connections_closed_total", {{"origin", first.url("")}, {"reason", "limit"}}), 1);
    EXPECT_EQ(Connections(), "opened 2, closed 1, active 0, idle 1");
}

TEST_F(StatisticsOfOneConnection, TellHowManyCallsWait) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        release.Wait();
        return kit::Respond(200);
    });
    const Client client = ClientOf(server);
    std::vector<std::thread> calls;
    for (int call = 0; call < 3; ++call) {
        calls.emplace_back([&] { EXPECT_TRUE(client.Send(Get())); });
    }
    ASSERT_TRUE(server.WaitForRequests(1));
    EXPECT_TRUE(Becomes([&] { return Sum("calls_waiting") == 2; }));
    EXPECT_EQ(Connections(), "opened 1, closed 0, active 1, idle 0");
    std::this_thread::sleep_for(5ms); // they have waited for so long at least
    release.Come();
    for (std::thread& call : calls) {
        call.join();
    }
    const EngineStatistics statistics = m_engine.statistics();
    EXPECT_EQ(statistics.sum("httpclient_calls_waiting"), 0);
    EXPECT_EQ(statistics.sum("httpclient_lease_wait_seconds_count"), 3);
    EXPECT_LE(statistics.sum("httpclient_lease_wait_seconds_bucket", {{"le", "0.005"}}), 1);
    EXPECT_GE(statistics.sum("httpclient_lease_wait_seconds_sum"), 0.01);
}

TEST_F(StatisticsTest, CountRetriesByTheOutcomeBefore) {
    std::atomic<int> request{0};
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        switch (request++) {
        case 0:
            return kit::Respond(503, {{"Connection", "close"}}); // so that no dead connection is replaced
        case 1:
            return kit::Silence(kit::After::Close);
        case 2:
            return kit::Respond(429);
        default:
            return kit::Respond(200);
        }
    });
    const RetryPolicy policy = RetryPolicy().attempts(4).pauses(1ms, 1ms);
    ASSERT_EQ(ToldFully(ClientOf(OptionsFor(server).retry(policy)).Send(Get())), "200 , attempts 4, reused");
    ASSERT_FALSE(ClientOf(OptionsFor("http://127.0.0.1:1").retry(policy)).Send(Get()));
    EXPECT_EQ(Sum("retries_total", {{"reason", "5xx"}}), 1);
    EXPECT_EQ(Sum("retries_total", {{"reason", "4xx"}}), 1);
    EXPECT_EQ(Sum("retries_total", {{"reason", "ConnectionLost"}}), 1);
    EXPECT_EQ(Sum("retries_total", {{"reason", "Connect"}}), 3);
    EXPECT_EQ(Sum("retries_total"), 6);
    EXPECT_EQ(Sum("calls_total"), 2) << "a call is one, however often it was sent";
    NameService names;
    ASSERT_FALSE(ClientOf(OptionsFor("http://none.test").retry(policy)).Send(Get()));
    kit::LoopbackServer silent([](const kit::RecordedRequest&) { return kit::Silence(kit::After::Stall); });
    ASSERT_FALSE(ClientOf(OptionsFor(silent).retry(policy).attemptTimeout(20ms)).Send(Get()));
    EXPECT_EQ(Sum("retries_total", {{"reason", "Resolve"}}), 3);
    EXPECT_EQ(Sum("retries_total", {{"reason", "Timeout"}}), 3);
    EXPECT_EQ(Sum("retries_total"), 12);
}

TEST_F(StatisticsTest, CountWhatSourcesSinksAndHeadFunctionsThrow) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    const auto errors = [&](const std::string& where) {
        return Sum("host_errors_total", {{"where", where}});
    };
    ASSERT_FALSE(
        client.Send(Request(Method::Put, "/").bodySource([] { return &ThrowingSource; }, std::nullopt)));
    EXPECT_EQ(errors("source"), 1);
    ASSERT_FALSE(client.Send(
        Request(Method::Put, "/")
            .bodySource([]() -> BodySource { throw std::runtime_error("amid the opening"); }, std::nullopt)));
    EXPECT_EQ(errors("source"), 2);
    ASSERT_FALSE(
        client.Send(Get().bodySink([](std::string_view) -> bool { throw std::runtime_error("sink"); })));
    EXPECT_EQ(errors("sink"), 1);
    ASSERT_FALSE(
        client.Send(Get().onHead([](const Response&) -> bool { throw std::runtime_error("head"); })));
    EXPECT_EQ(errors("sink"), 2);
    EXPECT_EQ(Sum("host_errors_total"), 4);
    ASSERT_FALSE(client.Send(Get().bodySink([](std::string_view) { return false; })));
    EXPECT_EQ(Sum("host_errors_total"), 4) << "saying enough is no error";
}

TEST_F(StatisticsTest, PutOriginsBeyondTheBoundUnderOneName) {
    constexpr int MOST = 256;
    for (int port = 1; port <= MOST + 2; ++port) {
        ASSERT_FALSE(ClientOf(OptionsFor("http://127.0.0.1:" + std::to_string(port))).Send(Get("no path")));
    }
    EXPECT_EQ(Sum("calls_total"), MOST + 2);
    EXPECT_EQ(Sum("calls_total", {{"origin", "http://127.0.0.1:256"}}), 1);
    EXPECT_EQ(Sum("calls_total", {{"origin", "http://127.0.0.1:257"}}), 0);
    EXPECT_EQ(Sum("calls_total", {{"origin", "other"}}), 2);
}

TEST_F(StatisticsTest, PutLabelsBeyondTheBoundsUnderOneName) {
    const Client client = ClientOf(OptionsFor("http://127.0.0.1:1"));
    const auto send = [&](const std::string& label) {
        ASSERT_FALSE(client.Send(Get("no path").label(label)));
    };
    const auto calls = [&](const std::string& label) { return Sum("calls_total", {{"label", label}}); };
    send("other");
    send(std::string(128, 'l'));
    send(std::string(129, 'l'));
    EXPECT_EQ(calls("other"), 2);
    EXPECT_EQ(calls(std::string(128, 'l')), 1);
    for (int label = 2; label <= 130; ++label) {
        send("/" + std::to_string(label));
    }
    EXPECT_EQ(calls("/128"), 1);
    EXPECT_EQ(calls("/129"), 0);
    EXPECT_EQ(calls("other"), 4);
    send("/128");
    EXPECT_EQ(calls("/128"), 2) << "what is known stays known";
    send("");
    EXPECT_EQ(calls(""), 1);
}

TEST_F(StatisticsTest, TellLabelsApartThatAreAlmostTheSame) {
    engine::OriginCounts counts("origin");
    // With begin, middle and end of each other, too.
    std::vector<std::string> labels = {"a", "b", "ab", "ba", "aab", "abb", "1234567", "1324567", "12345678"};
    for (const char c : {'x', 'y', 'z'}) {
        labels.push_back(std::string(20, 'l') + c +
                         std::string(engine::OriginCounts::LONGEST_LABEL - 21, 'l'));
    }
    std::set<const engine::RouteCounts*> routes;
    for (const std::string& label : labels) {
        for (const Method method : {Method::Get, Method::Post}) {
            const engine::RouteCounts& route = counts.Route(method, label);
            EXPECT_EQ(&counts.Route(method, label), &route) << label;
            routes.insert(&route);
        }
    }
    EXPECT_EQ(routes.size(), 2 * labels.size());
}

TEST_F(StatisticsTest, LoseNothingWhereThreadsMeetTheSameNewLabel) {
    engine::OriginCounts counts("origin");
    constexpr int THREADS = 4;
    constexpr int LABELS = 200;
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < THREADS) {
                std::this_thread::yield();
            }
            for (int label = 0; label < LABELS; ++label) {
                counts.Route(Method::Get, "/" + std::to_string(label)).endings[0].Add();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::size_t routes = 0;
    std::uint64_t calls = 0;
    std::uint64_t others = 0;
    counts.ForEachRoute([&](const engine::RouteCounts& route) {
        routes += !route.label.empty() && route.label != engine::OriginCounts::OTHER ? 1 : 0;
        calls += route.endings[0].count();
        others += route.label == engine::OriginCounts::OTHER ? route.endings[0].count() : 0;
        EXPECT_LE(route.label == engine::OriginCounts::OTHER ? 0U : route.endings[0].count(),
                  static_cast<unsigned>(THREADS));
    });
    EXPECT_LE(routes, engine::OriginCounts::MOST_ROUTES);
    EXPECT_EQ(calls, static_cast<unsigned>(THREADS * LABELS));
    EXPECT_GE(others, static_cast<unsigned>(LABELS) - engine::OriginCounts::MOST_ROUTES);
}

TEST_F(StatisticsTest, NeverGetSmallerWhileCallsEnd) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&] {
            for (int call = 0; call < 200; ++call) {
                EXPECT_TRUE(client.Send(Get()));
            }
        });
    }
    std::thread reader([&] {
        std::vector<double> last(3);
        while (!over) {
            const EngineStatistics now = m_engine.statistics();
            const std::vector<double> counts = {now.sum("httpclient_calls_total"),
                                                now.sum("httpclient_call_duration_seconds_count"),
                                                now.sum("httpclient_bytes_total")};
            for (std::size_t index = 0; index < counts.size(); ++index) {
                EXPECT_GE(counts[index], last[index]);
            }
            last = counts;
        }
    });
    for (std::thread& thread : threads) {
        thread.join();
    }
    over = true;
    reader.join();
    EXPECT_EQ(Sum("calls_total"), 400);
}

TEST_F(StatisticsTest, CountTokenExchangesByServiceAndOutcome) {
    engine::Statistics counts;
    counts.CountTokenExchange("orders", std::nullopt);
    counts.CountTokenExchange("orders", FailureKind::Timeout);
    counts.CountTokenExchange("orders", FailureKind::Internal);
    constexpr int MOST = 64;
    for (int service = 2; service <= MOST + 2; ++service) {
        counts.CountTokenExchange(std::to_string(service), std::nullopt);
    }
    std::vector<std::string> told;
    counts.ForEachService([&](const std::string& service, const engine::Statistics::Exchanges& exchanges) {
        for (std::size_t index = 0; index < exchanges.size(); ++index) {
            if (exchanges[index].count() != 0 &&
                (service == "orders" || service == "other" || service == "64")) {
                told.push_back(service + " " + engine::Statistics::NameOfExchange(index) + " " +
                               std::to_string(exchanges[index].count()));
            }
        }
    });
    EXPECT_EQ(told, (std::vector<std::string>{"64 ok 1", "orders ok 1", "orders Timeout 1",
                                              "orders Internal 1", "other ok 2"}));
}
