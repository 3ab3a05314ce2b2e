// SPDX-License-Identifier: Apache-2.0
// Stopping the pool: its thread, its connections, and what may still happen afterwards.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include <ace/Reactor.h>

#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/ResourceListener.h>

#include "HeldLock.h"
#include "PoolTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;
using namespace std::chrono_literals;

namespace {

using Handles = std::vector<const void*>;

Handles Closed(const CurlRecorder& recorder, CurlCall call = CurlCall::EasyCleanup) {
    Handles handles;
    for (const CurlEvent& event : recorder.Events(call)) {
        handles.push_back(event.handle);
    }
    return handles;
}

class PoolStop : public PoolTest {};

TEST_F(PoolStop, EndsTheThreadAndSaysSo) {
    const std::size_t threads = ThreadIds().size();
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, "CHttpConnectionMgr::svc out"}}));
    EXPECT_TRUE(WaitForThreads(threads - 1));
}

TEST_F(PoolStop, TwiceIsAsGoodAsOnce) {
    CHttpConnectionMgr::Finalize();
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, "CHttpConnectionMgr::svc out"}}));
}

TEST_F(PoolStop, IsFollowedByAPoolWithFreshDefaults) {
    m_pool.ResizeConnPool(200, 60);
    m_pool.SetRlsTime(5);
    Get("host");
    CHttpConnectionMgr::Finalize();
    TakeMessages();

    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    EXPECT_EQ(pool->GetConnPoolSize(), 100u);
    EXPECT_EQ(pool->GetConnAddrSize(), 30u);
    EXPECT_EQ(pool->m_releasedtime, 30);
    EXPECT_EQ(KeysOf(*pool, false).size(), 0u);
    EXPECT_EQ(KeysOf(*pool, true).size(), 0u);
    EXPECT_TRUE(TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in "));
    EXPECT_TRUE(m_reactor.Settle()) << "a new thread";
}

TEST_F(PoolStop, ClosesEveryPlainConnectionByAddressFromTheOldest) {
    const std::vector<CHttpConnection*> made{Get("b"), Get("a"), Get("a", 81), Get("a")};
    m_pool.ReleaseConn(made[1]); // lent or idle alike
    const Handles expected{made[1]->GetCurl(), made[3]->GetCurl(), made[2]->GetCurl(), made[0]->GetCurl()};
    const CurlRecorder recorder;
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(Closed(recorder), expected);
    EXPECT_EQ(Closed(recorder, CurlCall::MultiCleanup).size(), 4u);
}

TEST_F(PoolStop, LeavesTlsConnectionsToThoseWhoHoldThem) {
    const std::unique_ptr<CHttpConnection> lent(Get("host", 443, true));
    const std::unique_ptr<CHttpConnection> idle(Get("host", 443, true));
    m_pool.ReleaseConn(idle.get());
    Get("host", 80, false);
    const CurlRecorder recorder;
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(recorder.Events(CurlCall::EasyCleanup).size(), 1u) << "the plain one's";
    EXPECT_EQ(recorder.Events(CurlCall::MultiCleanup).size(), 1u);

    // A late worker ends its transfer and gives the connection back, to the next pool.
    EXPECT_EQ(curl_easy_setopt(lent->GetCurl(), CURLOPT_TIMEOUT, 1L), CURLE_OK);
    m_clock.Advance(3);
    CHttpConnectionMgr* next = CHttpConnectionMgr::Instance();
    next->ReleaseConn(lent.get());
    EXPECT_TRUE(lent->IsIdle());
    EXPECT_EQ(lent->GetFreeTime(), T + 3);
    EXPECT_EQ(KeysOf(*next, true).size(), 0u) << "which does not know it";
    CHttpConnection* other = next->GetConn("host", 443, true);
    EXPECT_NE(other, lent.get());
    EXPECT_NE(other, idle.get());
}

TEST_F(PoolStop, JoinsTheThreadBeforeItTakesThePoolLock) {
    Get("host");
    bool joined = false;
    bool underTheClassMutex = false;
    std::size_t closedBefore = SIZE_MAX;
    const CurlRecorder recorder;
    {
        const HeldLock lock(LockOf(m_pool), [&] {
            joined = TraceRecorder::Instance().Count(PROGRESS, "CHttpConnectionMgr::svc out") == 1 &&
                     m_pool.thr_mgr() == nullptr;
            underTheClassMutex = CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.tryacquire() == -1;
            closedBefore = recorder.Events().size();
        });
        CHttpConnectionMgr::Finalize();
        EXPECT_EQ(lock.Writes(), 1);
        EXPECT_EQ(lock.Unlocks(), 1);
    }
    EXPECT_TRUE(joined);
    EXPECT_TRUE(underTheClassMutex);
    EXPECT_EQ(closedBefore, 0u);
    EXPECT_EQ(recorder.Events().size(), 2u);
}

TEST_F(PoolStop, WaitsForASweepThatIsUnderWay) {
    m_pool.ReleaseConn(Get("host"));
    m_pool.SetRlsTime(0);
    std::promise<void> sweeping;
    const CurlRecorder recorder;
    HeldLock lock(LockOf(m_pool), [&, first = true]() mutable {
        if (std::exchange(first, false)) {
            sweeping.set_value();
        }
    });
    ASSERT_EQ(m_pool.m_PoolLock.tryacquire_write(), 0); // not seen by the held lock
    m_reactor.Advance(1s);
    sweeping.get_future().wait(); // for the lock, on the pool's thread
    auto stopped = std::async(std::launch::async, [] { CHttpConnectionMgr::Finalize(); });
    EXPECT_EQ(recorder.Events().size(), 0u);
    m_pool.m_PoolLock.release();
    stopped.get();
    const auto closed = recorder.Events(CurlCall::EasyCleanup);
    ASSERT_EQ(closed.size(), 1u) << "once";
    EXPECT_EQ(lock.Writes(), 2) << "the sweep's and the destructor's";
}

class PoolRounds : public WithoutPool {};

TEST_F(PoolRounds, FinalizingWithoutAPoolDoesNothing) {
    const std::size_t threads = ThreadIds().size();
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    EXPECT_EQ(ThreadIds().size(), threads);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(PoolRounds, TwoHundredLeaveNeitherThreadsNorDescriptors) {
    CHttpConnectionMgr::Instance()->GetConn("host", 80, false);
    CHttpConnectionMgr::Finalize(); // libcurl and ACE are set up from here on
    const std::size_t threads = Resources::Now().threads;
    const std::size_t descriptors = Resources::Now().descriptors;
    TakeMessages();
    for (int round = 0; round < 200; ++round) {
        CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
        ASSERT_NE(pool->GetConn("host", 80, false), nullptr);
        CHttpConnectionMgr::Finalize();
        ASSERT_EQ(TakeMessages(), (Messages{{PROGRESS, "CHttpConnectionMgr::svc in "},
                                            {PROGRESS, "CHttpConnectionMgr::svc out"}}));
    }
    EXPECT_TRUE(WaitForThreads(threads));
    EXPECT_EQ(Resources::Now().descriptors, descriptors);
}

TEST_F(PoolRounds, StopWhileASweepIsDue) {
    const CurlRecorder recorder;
    for (int round = 0; round < 100; ++round) {
        CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
        pool->SetRlsTime(0);
        pool->ReleaseConn(pool->GetConn("host", 80, false));
        pool->GetConn("host", 81, false);
        m_reactor.Advance(1s);
        if (round % 2 == 1) {
            std::this_thread::sleep_for(std::chrono::microseconds(100 * round));
        }
        CHttpConnectionMgr::Finalize();
    }
    EXPECT_EQ(Closed(recorder).size(), 200u);
    EXPECT_EQ(Closed(recorder, CurlCall::MultiCleanup).size(), 200u);
}

class PoolAtExit : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(PoolAtExit, AProcessThatEndsWithAPoolEndsQuietly) {
    EXPECT_EXIT(
        {
            CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
            pool->ReleaseConn(pool->GetConn("host", 80, false));
            pool->GetConn("host", 80, false);
            exit(0);
        },
        ::testing::ExitedWithCode(0), "^$");
}

TEST_F(PoolAtExit, ASweepThatComesWhileTheProcessEndsClosesNothing) {
    EXPECT_EXIT(
        {
            // Handlers run in reverse order: this one when the first TLS connection's has been.
            std::atexit([] {
                Sweep(*CHttpConnectionMgr::m_pInstance);
                const auto left = KeysOf(*CHttpConnectionMgr::m_pInstance, true);
                std::fputs(left.empty() ? "none" : left[0].c_str(), stderr);
            });
            CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
            pool->SetRlsTime(0);
            pool->ReleaseConn(pool->GetConn("host", 443, true));
            exit(0);
        },
        ::testing::ExitedWithCode(0), "^host:443$");
}

class PoolAtExitInHeldTime : public WithoutPool {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// The platform's cipher and log are called under the lock, and may end the process.
TEST_F(PoolAtExitInHeldTime, AThreadThatHoldsTheLockWaitsForNoSweep) {
    EXPECT_EXIT(
        {
            alarm(30);
            CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
            pool->ReleaseConn(pool->GetConn("host", 443, true)); // from here on exit() waits for sweeps
            std::promise<void> sweeping;
            const HeldLock lock(LockOf(*pool), [&] { sweeping.set_value(); });
            pool->m_PoolLock.tryacquire_write(); // not seen by the held lock
            m_reactor.Advance(1s);
            sweeping.get_future().wait(); // for the lock, on the pool's thread
            exit(0);
        },
        ::testing::ExitedWithCode(0), "^$");
}

/// Ends a forked child. The search for leaks would find what its parent's threads hold.
[[noreturn]] void EndChild(int status) {
#ifdef __SANITIZE_ADDRESS__
    _exit(status);
#else
    exit(status);
#endif
}

// The child is forked as it stands, without its parent's threads.
class PoolAtFork : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP() << "a forked child may start no thread under the thread sanitizer";
#endif
        GTEST_FLAG_SET(death_test_style, "fast");
        m_conn.reset(CHttpConnectionMgr::Instance()->GetConn("host", 443, true));
    }
    void TearDown() override {
        CHttpConnectionMgr::Finalize();
    }

    std::unique_ptr<CHttpConnection> m_conn; // the pool leaves it open

    /// Has a child make a pool, use it and end as a process does.
    static void ExpectAChildToHaveAPoolOfItsOwn() {
        EXPECT_EXIT(
            {
                alarm(30); // a child that hangs is ended
                const bool none = CHttpConnectionMgr::m_pInstance == nullptr;
                CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
                pool->ReleaseConn(pool->GetConn("host", 443, true));
                Sweep(*pool);
                EndChild(none ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "");
    }
};

TEST_F(PoolAtFork, AChildMakesAPoolOfItsOwn) {
    ExpectAChildToHaveAPoolOfItsOwn();
}

using Settings = std::vector<std::int64_t>;

const Settings DEFAULTS{100, 30, 30};

/// Limits and release time of the pool that there is, or is made.
Settings SettingsOfThePool() {
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    return {pool.GetConnPoolSize(), pool.GetConnAddrSize(), pool.m_releasedtime};
}

TEST_F(PoolAtFork, AChildsPoolHasTheLimitsAndTheReleaseTimeOfItsParents) {
    const Settings set{200, 60, 5};
    CHttpConnectionMgr::Instance()->ResizeConnPool(200, 60);
    CHttpConnectionMgr::Instance()->SetRlsTime(5);
    EXPECT_EXIT(
        {
            alarm(30);
            const bool same = SettingsOfThePool() == set;
            CHttpConnectionMgr::Finalize(); // what comes then is the child's own
            EndChild(same && SettingsOfThePool() == DEFAULTS ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(PoolAtFork, AChildThatFinalizesFirstHasTheDefaultLimits) {
    CHttpConnectionMgr::Instance()->ResizeConnPool(200, 60);
    EXPECT_EXIT(
        {
            alarm(30);
            CHttpConnectionMgr::Finalize();
            EndChild(SettingsOfThePool() == DEFAULTS ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

// The parent's settings are gone when its pool is: what stands there afterwards is anything.
TEST_F(PoolAtFork, AChildForkedAmidTheEndOfItsParentsPoolHasTheDefaultLimits) {
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    bool forked = false;
    const HeldLock lock(LockOf(pool), [&] {
        pool.m_MaxConnNum = UINT32_MAX;
        if (std::exchange(forked, true)) {
            return;
        }
        EXPECT_EXIT(
            {
                alarm(30);
                EndChild(SettingsOfThePool() == DEFAULTS ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "");
    });
    CHttpConnectionMgr::Finalize();
    EXPECT_TRUE(forked);
}

TEST_F(PoolAtFork, AGrandchildsPoolHasThemEvenIfTheChildMadeNoPool) {
    CHttpConnectionMgr::Instance()->ResizeConnPool(200, 60);
    EXPECT_EXIT(
        {
            alarm(30);
            const pid_t grandchild = fork();
            if (grandchild != 0) {
                int status = -1;
                waitpid(grandchild, &status, 0);
                _exit(WEXITSTATUS(status));
            }
            _exit(CHttpConnectionMgr::Instance()->GetConnPoolSize() == 200 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(PoolAtFork, AChildMakesItsOwnPoolWhileItsParentMakesOne) {
    ASSERT_EQ(CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.acquire(), 0);
    ExpectAChildToHaveAPoolOfItsOwn();
    EXPECT_EQ(CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.release(), 0);
}

} // namespace
