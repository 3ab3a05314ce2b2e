// SPDX-License-Identifier: Apache-2.0
// The pool ends and begins again, and the process forks.
#include <chrono>
#include <cstdlib>
#include <thread>

#include <unistd.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Patience.h>
#include <httpclient/testing/ResourceListener.h>

#include "../faults/Gate.h"
#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

const LoopbackServer::Handler SOUND = [](const RecordedRequest&) { return Sound(); };

/// Waits until there are so few threads: one that was joined may be listed a moment longer.
bool WaitForThreads(std::size_t count) {
    const auto giveUp = std::chrono::steady_clock::now() + PATIENCE;
    while (Resources::Now().threads > count) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

class Lifetimes : public GateTest {
protected:
    /// Sends in a forked child, which sees the host's pool as it was. @return its exit code: 0 when it got an answer.
    int SendInChild() {
        return RunForked([this] { _exit(Send(Way::Fresh).result == 200 ? 0 : 1); }).exitCode;
    }

    LoopbackServer m_server{SOUND};
};

} // namespace

TEST_F(Lifetimes, OfManyPoolsLeaveNothingBehind) {
    const unsigned int pools = std::getenv("TORTURE_ALL") != nullptr ? 1000 : 200;
    PointAt(m_server, Way::Fresh);
    Resources first;
    for (unsigned int i = 0; i < pools; ++i) {
        ASSERT_EQ(Send(Way::Fresh).result, 200) << i;
        CHttpConnectionMgr::Finalize();
        if (i == 0) {
            ASSERT_TRUE(m_server.WaitForOpenConnections(0));
            first = Resources::Now();
        }
    }
    ASSERT_TRUE(m_server.WaitForOpenConnections(0));
    EXPECT_EQ(m_server.connectionsAccepted(), pools);
    EXPECT_LE(Resources::Now().descriptors, first.descriptors);
    EXPECT_TRUE(WaitForThreads(first.threads));
}

#ifndef __SANITIZE_THREAD__ // whose children may start no thread
TEST_F(Lifetimes, OfAForkedChildAreItsOwn) {
    PointAt(m_server, Way::Fresh);
    EXPECT_EQ(Send(Way::Fresh).result, 200);
    EXPECT_EQ(SendInChild(), 0);
    EXPECT_EQ(Send(Way::Fresh).result, 200);
    EXPECT_EQ(SendInChild(), 0);
    const auto requests = m_server.requests();
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(requests[0].connection, 1U);
    EXPECT_EQ(requests[1].connection, 2U) << "the child has a connection of its own";
    EXPECT_EQ(requests[2].connection, 1U) << "and has left the host's alone";
    EXPECT_EQ(requests[3].connection, 3U);
}

TEST_F(Lifetimes, OfAForkedChildEndWithItsOwnPool) {
    PointAt(m_server, Way::Fresh);
    EXPECT_EQ(Send(Way::Fresh).result, 200);
    const Ended child = RunForked([this] {
        CHttpConnectionMgr::Finalize(); // there is none yet
        const bool sent = Send(Way::Fresh).result == 200;
        CHttpConnectionMgr::Finalize();
        _exit(sent ? 0 : 1);
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(Send(Way::Fresh).result, 200);
    EXPECT_EQ(m_server.connectionsAccepted(), 2U);
}
#endif
