// SPDX-License-Identifier: Apache-2.0
// What an observer sees of asynchronous calls, and what of the host's code is counted when it throws.
#include <stdexcept>

#include "engine/Counts.h"
#include "interpose/Allocations.h"
#include "loop/AsyncTest.h"
#include "setting/Witness.h"

namespace {

using Notes = std::vector<std::string>;

class ObservedTest : public AsyncTest {
protected:
    void Observe(Witness::Act act = {}, EngineOptions options = {}) {
        m_witness = std::make_shared<Witness>(std::move(act));
        Remake(options.observer(m_witness));
    }
    double Errors(const std::string& where) const {
        return m_engine->statistics().sum("httpclient_host_errors_total", {{"where", where}});
    }
    double Calls(const std::string& outcome) const {
        return m_engine->statistics().sum("httpclient_calls_total", {{"outcome", outcome}});
    }

    std::shared_ptr<Witness> m_witness;
};

} // namespace

TEST_F(ObservedTest, StartIsSeenOnTheCallersThreadAndTheRestOnALoop) {
    Observe();
    ScriptedServer server(AnswerAll());
    Start(ClientOf(server), Get("/path"));
    EXPECT_EQ(m_ends.Told(), "200 answer");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start GET /path", "Attempt 1: 200", "End 1: 200"}));
    const std::vector<std::thread::id> threads = m_witness->threads();
    EXPECT_EQ(threads[0], std::this_thread::get_id());
    EXPECT_NE(threads[1], std::this_thread::get_id());
    EXPECT_EQ(threads[1], threads[2]);
}

TEST_F(ObservedTest, EndIsSeenBeforeTheHostLearnsOfIt) {
    Observe();
    ScriptedServer server(AnswerAll());
    std::size_t seenBefore = 0;
    ++m_started;
    ClientOf(server).Start(Get(), [&, note = m_ends.Of()](Result result) {
        seenBefore = m_witness->notes().size();
        note(std::move(result));
    });
    ASSERT_TRUE(m_ends.Wait());
    EXPECT_EQ(seenBefore, 3U);
    ASSERT_TRUE(ClientOf(server).SendAsync(Get()).get());
    EXPECT_EQ(m_witness->notes().size(), 6U);
}

TEST_F(ObservedTest, FieldsAreSentThatTheObserverAdds) {
    Observe([](Event event, CallView& call) {
        if (event == Event::Start) {
            call.addHeader("traceparent", "00-trace");
        }
    });
    ScriptedServer server(AnswerAll());
    Start(ClientOf(server), Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
    End();
    ASSERT_TRUE(server.WaitForEnds(1));
    EXPECT_NE(server.received().front().find("\r\ntraceparent: 00-trace\r\n"), std::string::npos);
}

TEST_F(ObservedTest, RetriesAreSeen) {
    Observe();
    const Client client =
        ClientOf(OptionsFor("http://127.0.0.1:1").retry(RetryPolicy().attempts(2).pauses(1ms, 1ms)));
    Start(client, Get());
    EXPECT_EQ(m_ends.Told(), "Connect in Connect");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start GET /", "Attempt 1: Connect in Connect",
                                         "Attempt 2: Connect in Connect", "End 2: Connect in Connect"}));
}

TEST_F(ObservedTest, ACancelledCallEndsOnce) {
    Observe();
    ScriptedServer server([](Peer& peer) { peer.ExpectEnd(); });
    Call call = Start(ClientOf(server), Get());
    ASSERT_TRUE(Becomes([&] { return server.accepted() == 1; }));
    call.Cancel();
    EXPECT_EQ(m_ends.Told().substr(0, 12), "Cancelled in");
    const Notes notes = m_witness->notes();
    ASSERT_EQ(notes.size(), 3U);
    EXPECT_EQ(notes[1].substr(0, 20), "Attempt 1: Cancelled");
    EXPECT_EQ(notes[2].substr(0, 16), "End 1: Cancelled");
    EXPECT_EQ(Calls("Cancelled"), 1);
}

TEST_F(ObservedTest, ACallOfAnEngineThatIsShutDownIsSeenAndCounted) {
    Observe();
    const Client client = ClientOf(OptionsFor("http://127.0.0.1:1"));
    m_engine->Shutdown(0ms);
    Start(client, Get());
    EXPECT_EQ(m_ends.Told(), "Shutdown in Prepare");
    EXPECT_EQ(m_witness->notes(), (Notes{"Start GET /", "End 0: Shutdown in Prepare"}));
    EXPECT_EQ(Calls("Shutdown"), 1);
}

TEST_F(ObservedTest, AnObserverThatThrowsIsCounted) {
    Observe([](Event, CallView&) { throw std::runtime_error("the observer's"); });
    ScriptedServer server(AnswerAll());
    Start(ClientOf(server), Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
    EXPECT_EQ(Errors("observer"), 3);
}

TEST_F(ObservedTest, AnObserverMayCancelTheCallAndShutTheEngineDownOnTheLoop) {
    for (const Event when : {Event::Attempt, Event::End}) {
        std::vector<std::string> others;
        Observe([&](Event event, CallView& call) {
            if (event == when && call.target() == "/ends") {
                m_engine->Shutdown(0ms);
            }
        });
        ScriptedServer server([](Peer& peer) {
            if (peer.Expect("/ends")) {
                peer.Send(Answer("answer"));
            }
            peer.ExpectEnd();
        });
        const Client client = ClientOf(server);
        const std::string held = "held" + std::to_string(static_cast<int>(when));
        const std::string ends = "ends" + std::to_string(static_cast<int>(when));
        Start(client, Get("/held"), held);
        ASSERT_TRUE(Becomes([&] { return server.accepted() == 1; }));
        Start(client, Get("/ends"), ends);
        EXPECT_EQ(m_ends.Told(ends), "200 answer");
        EXPECT_EQ(m_ends.Told(held).substr(0, 8), "Shutdown");
    }
}

TEST_F(ObservedTest, ACallbackThatThrowsIsCounted) {
    Remake(EngineOptions());
    ScriptedServer server(AnswerAll());
    const Client client = ClientOf(server);
    ++m_started;
    client.Start(Get(), [note = m_ends.Of()](Result result) {
        note(std::move(result));
        throw std::runtime_error("the callback's");
    });
    ASSERT_TRUE(m_ends.Wait());
    EXPECT_TRUE(Becomes([&] { return Errors("callback") == 1; }));
}

TEST_F(ObservedTest, AnExecutorThatThrowsIsCounted) {
    Remake(EngineOptions().executor([](const std::function<void()>&) { throw std::runtime_error("full"); }));
    ScriptedServer server(AnswerAll());
    Start(ClientOf(server), Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
    EXPECT_EQ(Errors("executor"), 1);
}

TEST_F(ObservedTest, SourcesSinksAndHeadFunctionsThatThrowAreCounted) {
    Remake(EngineOptions());
    ScriptedServer server(AnswerAll());
    const Client client = ClientOf(server);
    const auto source = [](char*, std::size_t) -> std::ptrdiff_t { throw std::runtime_error("source"); };
    Start(client, Request(Method::Put, "/").bodySource([=] { return source; }, std::nullopt), "source");
    Start(client, Get().bodySink([](std::string_view) -> bool { throw std::runtime_error("sink"); }), "sink");
    Start(client, Get().onHead([](const Response&) -> bool { throw std::runtime_error("head"); }), "head");
    ASSERT_TRUE(m_ends.Wait(3));
    EXPECT_EQ(Errors("source"), 1);
    EXPECT_EQ(Errors("sink"), 2);
    EXPECT_EQ(Errors("callback") + Errors("observer") + Errors("executor"), 0);
}

TEST_F(ObservedTest, CountingTakesMemoryForTheFirstCallUnderALabelAlone) {
    engine::OriginCounts counts("http://origin");
    const std::string label = "/orders/{id}/items";
    const auto count = [&](const std::string& under) {
        return httpclient::testing::AllocationsOf([&] {
            counts.Route(Method::Get, under).endings[0].Add();
            counts.durations.Count(1ms);
            counts.leases.Count(1ms);
            counts.sent.Add(1);
        });
    };
    EXPECT_EQ(count(""), 0U);
    EXPECT_GT(count(label), 0U);
    EXPECT_EQ(count(label), 0U);
    EXPECT_EQ(count(std::string(200, 'l')), 0U) << "counted as another";
}

TEST_F(ObservedTest, CallsOfALoopAreCountedAsOthersAre) {
    Remake(EngineOptions());
    ScriptedServer server(AnswerAll());
    const Client client = ClientOf(server);
    for (std::size_t call = 1; call <= 3; ++call) {
        Start(client, Get(), "call" + std::to_string(call));
        ASSERT_TRUE(m_ends.Wait(call));
    }
    const EngineStatistics statistics = m_engine->statistics();
    EXPECT_EQ(statistics.sum("httpclient_calls_total", {{"outcome", "2xx"}}), 3);
    EXPECT_EQ(statistics.sum("httpclient_connections_opened_total"), 1);
    EXPECT_EQ(statistics.sum("httpclient_connections", {{"state", "idle"}}), 1);
}
