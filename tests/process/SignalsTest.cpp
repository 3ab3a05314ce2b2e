// SPDX-License-Identifier: Apache-2.0
// The host's signals: none ends a transfer or a wait early, and a peer that is gone raises none.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/syscall.h>
#include <unistd.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "../faults/Gate.h"
#include "tests/support/CountedSignals.h"
#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

/// Whether a thread of this process, which can only be the pool's, waits in its reactor.
bool ThePoolsThreadWaits() {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream call(thread.path() / "syscall");
        int number = -1;
        if (call >> number && (number == SYS_epoll_wait || number == SYS_epoll_pwait)) {
            return true;
        }
    }
    return false;
}

/// Has another process stop this one and let it go on, as a shell does.
void StopAndContinue() {
    Fork([process = getpid()] {
        kill(process, SIGSTOP);
        while (StateOfProcess(process) != 'T') {
            std::this_thread::yield();
        }
        kill(process, SIGCONT);
    }).Wait();
}

class Signals : public GateTest {
protected:
    std::unique_ptr<LoopbackServer> Serve(Way way, const LoopbackServer::Handler& handler,
                                          ServerOptions options = {}) const {
        if (IsTls(way)) {
            return std::make_unique<TlsLoopbackServer>(handler, m_tls.Server(), std::move(options));
        }
        return std::make_unique<LoopbackServer>(handler, std::move(options));
    }
};

} // namespace

// As a host has that waits for a fault which another process sends.
TEST_F(Signals, OfFaultsThatTheHostBlocksComeToNoThreadOfTheLibrary) {
    const Ended ended = Fork([] {
                            sigset_t fault;
                            sigemptyset(&fault);
                            sigaddset(&fault, SIGABRT);
                            sigprocmask(SIG_BLOCK, &fault, nullptr);
                            kill(getpid(), SIGABRT);
                            CHttpConnectionMgr::Instance();
                            int taken = 0;
                            _exit(sigwait(&fault, &taken) == 0 && taken == SIGABRT ? 0 : 1);
                        }).Wait();
    EXPECT_EQ(ended.signal, 0);
    EXPECT_EQ(ended.exitCode, 0);
}

TEST_F(Signals, EveryMillisecondEndNoTransferEarly) {
    const LoopbackServer::Handler slowly = [](const RecordedRequest&) {
        return Delayed(Trickle(Sound(), std::chrono::milliseconds(1)), std::chrono::milliseconds(50));
    };
    for (const Way way : {Way::Fresh, Way::TlsFresh, Way::Asynchronous}) {
        ClosePool();
        const auto server = Serve(way, slowly);
        PointAt(*server, way);
        const Alarms alarms;
        ExpectNextToWork(way);
        EXPECT_GT(Alarms::Taken(), 10) << "there were alarms during the transfers";
        EXPECT_EQ(server->requests().size(), 2U);
        EXPECT_EQ(server->connectionsAccepted(), 1U);
    }
}

TEST_F(Signals, EveryMillisecondShortenNoWaitForAConnection) {
    const auto server = Serve(Way::Fresh, [](const RecordedRequest&) { return Sound(); });
    PointAt(*server, Way::Fresh);
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    std::vector<CHttpConnection*> all;
    while (CHttpConnection* const conn = pool->GetConn(server->address(), server->port(), false)) {
        all.push_back(conn);
    }
    ASSERT_EQ(all.size(), 100U);

    const auto before = std::chrono::steady_clock::now();
    std::thread releaser([&] {
        sigset_t every;
        sigfillset(&every);
        pthread_sigmask(SIG_SETMASK, &every, nullptr); // the alarms are the sender's
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (CHttpConnection* const conn : all) {
            pool->ReleaseConn(conn);
        }
    });
    {
        const Alarms alarms;
        EXPECT_EQ(Send(Way::Fresh).result, 200);
        EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(2900));
        EXPECT_GT(Alarms::Taken(), 100);
    }
    releaser.join();
    ClosePool();
}

TEST_F(Signals, OfABrokenPipeAreNotRaised) {
    const std::string large(std::size_t{4} << 20, 'x');
    for (const OnAccept fault : {OnAccept::Reset, OnAccept::Close, OnAccept::CloseAfterHello}) {
        for (const Way way : {Way::Fresh, Way::TlsFresh}) {
            ClosePool();
            ServerOptions options;
            options.onAccept = [fault](unsigned int) { return fault; };
            const auto server = Serve(
                way, [](const RecordedRequest&) { return Sound(); }, options);
            PointAt(*server, way);
            const CountedSignal pipes(SIGPIPE);
            EXPECT_EQ(Send(way, HTTPOPERATION_POST, large).result, -1);
            ClosePool();
            EXPECT_EQ(CountedSignal::Taken(), 0);
        }
    }
}

// What is sent to a TLS connection that the peer has reset while it was kept: more records, or that it ends.
TEST_F(Signals, OfABrokenPipeAreNotRaisedByAKeptConnection) {
    const std::string large(std::size_t{4} << 20, 'x');
    for (const After after : {After::Reset, After::Close, After::Cut}) {
        for (const Way way : {Way::Kept, Way::TlsKept}) {
            ClosePool();
            const auto server = Serve(way, [after](const RecordedRequest&) { return Then(Sound(), after); });
            PointAt(*server, way);
            const CountedSignal pipes(SIGPIPE);
            EXPECT_EQ(Send(way).result, 200);
            // The STRICT profile does not send a POST again.
            const int result = Send(way, HTTPOPERATION_POST, large).result;
            EXPECT_TRUE(result == 200 || (IsStrict() && result == -1)) << result;
            ClosePool();
            EXPECT_EQ(CountedSignal::Taken(), 0);
        }
    }
}

// No thread can block these. The wait that they interrupt is ACE's, which says so on standard error unless told not to.
TEST_F(Signals, ThatStopAndContinueTheProcessAreNotSpokenOf) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a forked child may start no thread under the thread sanitizer";
#endif
    const Ended child = RunForked([] {
        CHttpConnectionMgr::Instance();
        for (int i = 0; i < 5; ++i) {
            while (!ThePoolsThreadWaits()) {
                std::this_thread::yield();
            }
            StopAndContinue();
        }
        CHttpConnectionMgr::Finalize();
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.err, "");
}
