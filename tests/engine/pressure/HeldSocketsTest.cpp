// SPDX-License-Identifier: Apache-2.0
// A child that holds copies of all sockets, while its parent closes them: nothing that comes on an old connection reaches
// a new one of the same number, and no loop spins.
#include <ctime>
#include <string>
#include <thread>

#include <unistd.h>

#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"
#include "tests/support/Process.h"

// The thread sanitizer does not let a child of several threads go on.
#ifndef __SANITIZE_THREAD__

namespace {

std::chrono::nanoseconds ProcessorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::string AnswerWith(const std::string& body, const std::string& fields = "") {
    return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
}

class HeldSockets : public EngineTest, public ::testing::WithParamInterface<bool> {
protected:
    Result Send(const Client& client) const {
        return GetParam() ? client.SendAsync(Get()).get() : client.Send(Get());
    }
};

} // namespace

TEST_P(HeldSockets, OfAChildChangeNothingForTheParent) {
    Moment closed;
    Moment sent;
    ScriptedServer server([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        if (peer.number() > 1) {
            do {
                peer.Send(AnswerWith("new"));
            } while (peer.Expect("\r\n\r\n"));
            return;
        }
        peer.Send(AnswerWith("old"));
        closed.Wait();
        // The child's copy still takes it: the kernel knows the old connection.
        for (int i = 0; i < 100; ++i) {
            peer.Send(AnswerWith("forged"));
        }
        sent.Come();
        peer.ExpectEnd();
    });
    const Client client = ClientOf(OptionsFor(server.origin()));
    ASSERT_EQ(Told(Send(client)), "200 old");
    kit::ChildProcess child = kit::Fork([] { pause(); });
    m_engine.CloseIdleConnections();
    closed.Come();
    ASSERT_TRUE(sent.Wait());
    const auto before = ProcessorTime();
    for (int call = 0; call < 20; ++call) {
        EXPECT_EQ(Told(Send(client)), "200 new");
    }
    // A loop that is told again and again of a descriptor that it does not know would use all of this.
    std::this_thread::sleep_for(200ms);
    EXPECT_LT(ProcessorTime() - before, 150ms) << "nothing spins";
    EXPECT_TRUE(child.Runs()) << "it held the sockets all the time";
    EXPECT_EQ(server.accepted(), 2U);
}

TEST_P(HeldSockets, OfAChildAreAllThatKeepsAConnectionOpen) {
    ScriptedServer server([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(AnswerWith("old"));
        peer.ExpectEnd();
    });
    const Client client = ClientOf(OptionsFor(server.origin()));
    ASSERT_EQ(Told(Send(client)), "200 old");
    kit::ChildProcess child = kit::Fork([] { pause(); });
    m_engine.CloseIdleConnections();
    child.End(SIGKILL);
    EXPECT_TRUE(server.WaitForEnds(1)) << "the parent holds nothing any more";
}

INSTANTIATE_TEST_SUITE_P(By, HeldSockets, ::testing::Bool(),
                         [](const auto& one) { return one.param ? "Loop" : "Blocking"; });

#endif
