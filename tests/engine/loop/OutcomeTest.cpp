// SPDX-License-Identifier: Apache-2.0
// One outcome, whatever races.
#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <pthread.h>

#include <httpclient/testing/RecordingTrace.h>

#include "interpose/Allocations.h"
#include "interpose/ThreadCreate.h"
#include "loop/AsyncTest.h"
#include "tests/support/Pattern.h"

// What was moved from is used on purpose, and the analyzer loses sight of what a callback owns.
// NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move,clang-analyzer-cplusplus.NewDeleteLeaks)

namespace {

class OutcomeTest : public AsyncTest {};

/// Notes when it is destroyed without having been called.
struct Witness {
    std::shared_ptr<int> called = std::make_shared<int>(0);
    void operator()(const Result&) const { ++*called; }
};

TEST_F(OutcomeTest, AnAnswerIsTheOutcome) {
    kit::LoopbackServer server(Always());
    Start(ClientOf(server), Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
}

TEST_F(OutcomeTest, AFutureGetsTheSame) {
    kit::LoopbackServer server(Always());
    std::future<Result> future = ClientOf(server).SendAsync(Post());
    EXPECT_EQ(Told(future.get()), "200 answer");
}

TEST_F(OutcomeTest, ACallGoesOnWithoutItsHandleAndItsClient) {
    Moment gone;
    ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        gone.Wait();
        peer.Send(Answer("late"));
    });
    { Start(ClientOf(server), Get()); }
    gone.Come();
    EXPECT_EQ(m_ends.Told(), "200 late");
}

TEST_F(OutcomeTest, DoneIsNeverCalledInsideStart) {
    Remake(EngineOptions().executor(&Inline));
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    const std::thread::id self = std::this_thread::get_id();
    for (int round = 0; round < 20; ++round) {
        std::promise<std::thread::id> ran;
        // One that fails before anything is sent would be over at once.
        client.Start(round % 2 == 0 ? Get() : Get("no path"),
                     [&](const Result&) { ran.set_value(std::this_thread::get_id()); });
        EXPECT_NE(ran.get_future().get(), self);
    }
    m_engine->Shutdown(LONG);
    std::promise<std::thread::id> ran;
    client.Start(Get(), [&](const Result&) { ran.set_value(std::this_thread::get_id()); });
    EXPECT_NE(ran.get_future().get(), self);
}

TEST_F(OutcomeTest, ADoneFunctionMayBeMovableOnly) {
    kit::LoopbackServer server(Always());
    std::promise<std::string> promise;
    std::future<std::string> told = promise.get_future();
    ClientOf(server).Start(Get(), [promise = std::move(promise), owned = std::make_unique<int>(1)](
                                      const Result& result) mutable { promise.set_value(Told(result)); });
    EXPECT_EQ(told.get(), "200 answer");
}

TEST_F(OutcomeTest, WhatIsNoRequestIsInvalid) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Start(client, Get("no path"), "target");
    EXPECT_EQ(m_ends.Told("target"), "InvalidRequest in Prepare");
    Request moved = Get();
    const Request other = std::move(moved);
    Start(client, std::move(moved), "moved from");
    EXPECT_EQ(m_ends.Told("moved from"), "InvalidRequest in Prepare");
}

TEST_F(OutcomeTest, AClientThatWasMovedFromSaysSo) {
    kit::LoopbackServer server(Always());
    Client client = ClientOf(server);
    const Client other = std::move(client);
    Start(client, Get(), "call");
    EXPECT_EQ(m_ends.Told(), "InvalidRequest in Prepare");
    EXPECT_EQ(Told(client.SendAsync(Get()).get()), "InvalidRequest in Prepare");
}

TEST_F(OutcomeTest, WhatACallbackOfAClientThatWasMovedFromThrowsStaysWithIt) {
    kit::LoopbackServer server(Always());
    Client client = ClientOf(server);
    const Client other = std::move(client);
    ++m_started;
    client.Start(Get(), [note = m_ends.Of("thrower")](Result result) {
        note(std::move(result));
        throw std::runtime_error("the callback's");
    });
    EXPECT_EQ(m_ends.Told("thrower"), "InvalidRequest in Prepare");
    ++m_started;
    client.Start(Get(), [note = m_ends.Of("ender")](Result result) {
        note(std::move(result));
        pthread_exit(nullptr);
    });
    EXPECT_EQ(m_ends.Told("ender"), "InvalidRequest in Prepare");
    Start(other, Get(), "after");
    EXPECT_EQ(m_ends.Told("after"), "200 answer");
}

TEST_F(OutcomeTest, AHandleMayBecomeAnothers) {
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client client = ClientOf(silent);
    Call call = Start(client, Get(), "one");
    const Call two = Start(client, Get(), "two");
    Call moved = Start(client, Get(), "three");
    call = two;
    call.Cancel();
    EXPECT_EQ(m_ends.Told("two").substr(0, 9), "Cancelled");
    call = std::move(moved);
    call.Cancel();
    EXPECT_EQ(m_ends.Told("three").substr(0, 9), "Cancelled");
    EXPECT_EQ(m_ends.Count(), 2U) << "the first goes on without a handle";
    End();
}

TEST_F(OutcomeTest, AnExecutorThatThrowsAfterTheShutdownLeavesTheCallbackToAThreadOfItsOwn) {
    Remake(EngineOptions().executor([](const std::function<void()>&) { throw std::runtime_error("full"); }));
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Start(client, Get(), "before");
    EXPECT_EQ(m_ends.Told("before"), "200 answer");
    EXPECT_TRUE(m_engine->Shutdown(0ms));
    Start(client, Get(), "after");
    EXPECT_EQ(m_ends.Told("after"), "Shutdown in Prepare");
}

TEST_F(OutcomeTest, ADeadlineEndsACallInLineAndInEachPartOfTheExchange) {
    Remake(EngineOptions().maxConnections(1, 1));
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client one = ClientOf(silent);
    Start(one, Get().timeout(400ms), "head");
    Start(one, Get().timeout(100ms), "line");
    EXPECT_EQ(m_ends.Told("line"), "Timeout in Lease");
    EXPECT_EQ(m_ends.Told("head"), "Timeout in Head");
    ScriptedServer half([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
        peer.ExpectEnd();
    });
    Start(ClientOf(half), Get().timeout(200ms), "body");
    EXPECT_EQ(m_ends.Told("body"), "Timeout in Body");
    ScriptedServer deaf(
        [this](Peer& peer) {
            m_ends.Wait(4);
            peer.ExpectEnd();
        },
        4096);
    Start(ClientOf(deaf), Post(std::string(16UL << 20, 'x')).timeout(200ms), "send");
    EXPECT_EQ(m_ends.Told("send"), "Timeout in Send");
}

TEST_F(OutcomeTest, ADeadlineIsKeptToWithManyOthersAround) {
    Remake(EngineOptions().maxConnections(500, 500));
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client client = ClientOf(silent);
    constexpr int CALLS = 100;
    const auto taken = TimeOf([&] {
        for (int number = 0; number < CALLS; ++number) {
            Start(client, Get().timeout(std::chrono::milliseconds(50 + (number * 37) % 300)));
        }
        EXPECT_TRUE(m_ends.Wait(CALLS));
    });
    EXPECT_LT(taken, 350ms + TOLERANCE);
    std::size_t timedOut = 0; // on a busy machine some have not come far by then
    for (const char* phase : {"Prepare", "Lease", "Resolve", "Connect", "Send", "Head"}) {
        timedOut += m_ends.CountOf(std::string("Timeout in ") + phase);
    }
    EXPECT_EQ(timedOut, CALLS);
}

TEST_F(OutcomeTest, ALineThatIsFullRefusesAtOnce) {
    Remake(EngineOptions().maxConnections(1, 1).maxWaiting(1));
    Moment answer;
    ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        answer.Wait();
        peer.Send(Answer("first"));
        while (peer.Expect("\r\n\r\n")) {
            peer.Send(Answer("second"));
        }
    });
    const Client client = ClientOf(server);
    Start(client, Get(), "first");
    Start(client, Get(), "second");
    Start(client, Get(), "third");
    EXPECT_EQ(m_ends.Told("third"), "Overloaded in Lease");
    answer.Come();
    EXPECT_EQ(m_ends.Told("first"), "200 first");
    EXPECT_EQ(m_ends.Told("second"), "200 second");
}

TEST_F(OutcomeTest, CancelEndsACallWhereverItIs) {
    Remake(EngineOptions().maxConnections(1, 1));
    Moment asked;
    ScriptedServer silent([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        asked.Come();
        peer.ExpectEnd();
    });
    const Client client = ClientOf(silent);
    Call head = Start(client, Get(), "head");
    asked.Wait();
    Call line = Start(client, Get(), "line");
    line.Cancel();
    EXPECT_EQ(m_ends.Told("line").rfind("Cancelled in ", 0), 0U);
    head.Cancel();
    head.Cancel();
    EXPECT_EQ(m_ends.Told("head"), "Cancelled in Head");
}

TEST_F(OutcomeTest, CancelAfterTheEndDoesNothing) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Call call = Start(client, Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
    call.Cancel();
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
    End();
    call.Cancel();
    EXPECT_EQ(m_ends.Count(), 1U);
    Call moved = std::move(call);
    call.Cancel(); // a handle without a call
    moved.Cancel();
}

TEST_F(OutcomeTest, CancelFromManyThreadsAtOnceGivesOneOutcome) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    for (int round = 0; round < 50; ++round) {
        Call call = Start(client, Get(), std::to_string(round));
        std::thread one([call]() mutable { call.Cancel(); });
        std::thread other([call]() mutable { call.Cancel(); });
        one.join();
        other.join();
        const std::string told = m_ends.Told(std::to_string(round));
        EXPECT_TRUE(told == "200 answer" || told.rfind("Cancelled", 0) == 0) << told;
    }
}

TEST_F(OutcomeTest, AThreadThatCannotBeStartedThrowsAndDoneIsNeverCalled) {
    kit::LoopbackServer server(Always());
    std::size_t refused = 0;
    for (std::size_t which = 1; which <= 5; ++which) {
        Remake({});
        const Client client = ClientOf(server);
        const Witness witness;
        bool thrown = false;
        {
            const kit::RefusedThread refusing(which);
            try {
                client.Start(Get(), witness);
            } catch (const std::system_error&) {
                thrown = true;
                ++refused;
            }
        }
        // The engine is as good as new.
        Start(client, Get(), std::to_string(which));
        EXPECT_EQ(m_ends.Told(std::to_string(which)), "200 answer");
        End();
        EXPECT_EQ(*witness.called, thrown ? 0 : 1) << which;
    }
    EXPECT_EQ(refused, 3U) << "callback threads, the one for work, the loop; one callback thread will do";
}

TEST_F(OutcomeTest, AThreadThatCannotBeStartedThrowsOnAnEngineThatHasEnded) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    m_engine->Shutdown(LONG);
    const Witness witness;
    {
        const kit::RefusedThread refusing;
        EXPECT_THROW(client.Start(Get(), witness), std::system_error);
    }
    EXPECT_EQ(*witness.called, 0);
}

TEST_F(OutcomeTest, ExhaustedMemoryInStartThrowsOrIsAnOutcome) {
    kit::LoopbackServer server(Always());
    bool all = false;
    for (std::size_t which = 1; !all; ++which) {
        Remake({});
        const Client client = ClientOf(server);
        const Witness witness;
        Request request = Get();
        bool thrown = false;
        {
            const kit::CountedNew failing(which);
            try {
                client.Start(std::move(request), witness);
            } catch (const std::bad_alloc&) {
                thrown = true;
            } catch (const std::system_error&) {
                thrown = true;
            }
            all = failing.Count() < which;
        }
        End();
        EXPECT_EQ(*witness.called, thrown ? 0 : 1) << which;
    }
}

TEST_F(OutcomeTest, ExhaustedMemoryOnTheLoopIsAnOutcome) {
    // With an executor that runs inline the host's code arms the failure on the loop's own thread.
    Remake(EngineOptions().executor(&Inline));
    kit::TraceRecorder::Instance().Clear();
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    bool all = false;
    std::size_t failures = 0;
    for (std::size_t which = 1; !all && which < 1000; ++which) {
        std::unique_ptr<kit::CountedNew> failing;
        std::promise<Call> armed;
        std::promise<std::string> told;
        client.Start(Get(), [&](const Result&) {
            m_engine->CloseIdleConnections();
            Request request = Get();
            auto done = [&](const Result& result) {
                all = failing->Count() < which;
                failing.reset();
                told.set_value(Told(result));
            };
            Call call = client.Start(std::move(request), std::move(done));
            failing = std::make_unique<kit::CountedNew>(which);
            armed.set_value(std::move(call));
        });
        const Call call = armed.get_future().get();
        const std::string text = told.get_future().get();
        if (text != "200 answer") {
            EXPECT_EQ(text.rfind("Internal in ", 0), 0U) << text;
            ++failures;
        }
    }
    EXPECT_TRUE(all);
    EXPECT_GT(failures, 3U);
    const kit::Pattern expected(
        "HTTP call GET http://127\\.0\\.0\\.1:[0-9]+/ failed: Internal in [A-Z][a-z]+: .+; "
        "attempts [01], total [0-9]+\\.[0-9]+ ms.*");
    std::size_t lines = 0;
    for (const kit::TracedMessage& message : kit::TraceRecorder::Instance().Messages()) {
        if (message.level == 5) {
            EXPECT_TRUE(expected.IsAllOf(message.body)) << message.body;
            ++lines;
        }
    }
    EXPECT_EQ(lines, failures) << "one line each";
}

} // namespace

// NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move,clang-analyzer-cplusplus.NewDeleteLeaks)
