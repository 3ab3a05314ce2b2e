// SPDX-License-Identifier: Apache-2.0
// The pool's thread sweeps by itself: after a second, and every twenty seconds from then on.
#include <chrono>
#include <thread>
#include <vector>

#include <ace/Dev_Poll_Reactor.h>
#include <ace/Reactor.h>

#include "PoolTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;
using namespace std::chrono_literals;

namespace {

class PoolReactor : public PoolTest {
protected:
    PoolReactor() { m_pool.SetRlsTime(0); } // each sweep closes what is idle

    /// Leaves an idle connection, and tells whether a sweep takes it as the reactor's time passes.
    bool IsSweptWithin(std::chrono::milliseconds step) {
        m_pool.ReleaseConn(Get("host"));
        EXPECT_TRUE(m_reactor.AdvanceAndSettle(step));
        // The lock orders this after the sweep.
        EXPECT_EQ(m_pool.m_PoolLock.acquire_write(), 0);
        const bool swept = m_pool.m_mapHttpConn.empty();
        m_pool.m_PoolLock.release();
        return swept;
    }
};

TEST_F(PoolReactor, SweepsAfterASecondAndThenEveryTwenty) {
    EXPECT_FALSE(IsSweptWithin(999ms));
    EXPECT_TRUE(IsSweptWithin(1ms));
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(IsSweptWithin(19'999ms)) << i;
        EXPECT_TRUE(IsSweptWithin(1ms)) << i;
    }
}

TEST_F(PoolReactor, KeepsItsPeriodWhateverTheSystemTimeDoes) {
    EXPECT_TRUE(IsSweptWithin(1s));
    for (const std::time_t jump : {3600, -7200, 1'000'000, -2'000'000}) {
        m_clock.Advance(jump);
        EXPECT_FALSE(IsSweptWithin(19'999ms)) << jump;
        EXPECT_TRUE(IsSweptWithin(1ms)) << jump;
    }
}

TEST_F(PoolReactor, SweepsOnThePoolsOwnThread) {
    m_pool.ReleaseConn(Get("host"));
    const CurlRecorder recorder;
    EXPECT_TRUE(m_reactor.AdvanceAndSettle(1s));
    const auto closed = recorder.Events(CurlCall::EasyCleanup);
    ASSERT_EQ(closed.size(), 1u);
    EXPECT_NE(closed[0].thread, std::this_thread::get_id());
}

TEST_F(PoolReactor, ClosesOnTheFirstSweepAtOrAfterTheReleaseTime) {
    m_pool.SetRlsTime(30);
    EXPECT_TRUE(m_reactor.AdvanceAndSettle(1s));
    EXPECT_FALSE(IsSweptWithin(0s));
    m_clock.Advance(29);
    EXPECT_TRUE(m_reactor.AdvanceAndSettle(20s));
    EXPECT_EQ(KeysOf(m_pool, false).size(), 1u);
    m_clock.Advance(1);
    EXPECT_TRUE(m_reactor.AdvanceAndSettle(20s));
    EXPECT_EQ(KeysOf(m_pool, false).size(), 0u);
}

TEST_F(PoolReactor, IsOneOfEpollAndThePoolsOwn) {
    EXPECT_NE(dynamic_cast<ACE_Dev_Poll_Reactor*>(m_pool.m_pReactor->implementation()), nullptr);
    EXPECT_NE(m_pool.m_pReactor, ACE_Reactor::reactor_) << "not the process's reactor";
}

/// No clock is held here.
TEST(PoolReactorInRealTime, SweepsAfterASecond) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(0);
    pool->ReleaseConn(pool->GetConn("host", 80, false));
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (pool->m_PoolLock.acquire_write() == 0) {
        const bool swept = pool->m_mapHttpConn.empty();
        pool->m_PoolLock.release();
        if (swept) {
            break;
        }
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        std::this_thread::sleep_for(20ms);
    }
    CHttpConnectionMgr::Finalize();
}

} // namespace
