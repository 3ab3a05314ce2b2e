// SPDX-License-Identifier: Apache-2.0
// Starting the pool, and what is left of it when a part of that fails.
#include <chrono>
#include <future>
#include <set>
#include <thread>
#include <vector>

#include <ace/Reactor.h>
#include <ace/Thread_Manager.h>
#include <ace/Timer_Queue.h>

#include <httpclient/testing/RecordingTrace.h>

#include "PoolTest.h"
#include "interpose/ThreadCreate.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;
using namespace std::chrono_literals;

namespace {

class PoolStart : public WithoutPool {
protected:
    /// A pool that lends, takes back and can be swept by hand.
    void ExpectWorksWithoutThread(CHttpConnectionMgr& pool) {
        CHttpConnection* conn = pool.GetConn("host", 80, false);
        ASSERT_NE(conn, nullptr);
        pool.ReleaseConn(conn);
        EXPECT_EQ(pool.GetConn("host", 80, false), conn);
        pool.ReleaseConn(conn);
        m_clock.Advance(3600);
        m_reactor.Advance(3600s);
        EXPECT_EQ(KeysOf(pool, false).size(), 1u) << "nothing sweeps";
        Sweep(pool);
        EXPECT_EQ(KeysOf(pool, false).size(), 0u);
    }
};

TEST_F(PoolStart, MakesOnePoolWithOneThread) {
    const std::size_t threads = ThreadIds().size();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    const RefusedThread counted(0);
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, pool);
    EXPECT_EQ(CHttpConnectionMgr::Instance(), pool);
    EXPECT_EQ(counted.Asked(), 1u);
    EXPECT_TRUE(WaitForThreads(threads + 1));
    EXPECT_TRUE(TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in "));
    EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, "CHttpConnectionMgr::svc in "}}));
}

TEST_F(PoolStart, LogsFromThePoolsOwnThread) {
    CHttpConnectionMgr::Instance();
    ASSERT_TRUE(TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in "));
    EXPECT_NE(TraceRecorder::Instance().Messages()[0].thread, std::this_thread::get_id());
}

TEST_F(PoolStart, HasAThreadManagerOfItsOwn) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    ASSERT_NE(pool->thr_mgr(), nullptr);
    EXPECT_NE(pool->thr_mgr(), ACE_Thread_Manager::instance());
    EXPECT_EQ(pool->thr_mgr()->count_threads(), 1u);
    EXPECT_EQ(pool->thr_count(), 1u);
}

TEST_F(PoolStart, BeginsEmptyWithItsDefaults) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    EXPECT_TRUE(pool->m_mapHttpConn.empty());
    EXPECT_TRUE(pool->m_mapHttpsConn.empty());
    EXPECT_EQ(pool->m_MaxConnNum, 100u);
    EXPECT_EQ(pool->m_MaxConnCategory, 30u);
    EXPECT_EQ(pool->m_releasedtime, 30);
    EXPECT_NE(pool->m_pReactor, nullptr);
}

TEST_F(PoolStart, SixteenThreadsAtOnceGetTheSamePool) {
    for (int round = 0; round < 20; ++round) {
        TraceRecorder::Instance().Clear();
        std::promise<void> start;
        const std::shared_future<void> started = start.get_future().share();
        std::vector<std::future<CHttpConnectionMgr*>> callers;
        for (int i = 0; i < 16; ++i) {
            callers.push_back(std::async(std::launch::async, [started] {
                started.wait();
                return CHttpConnectionMgr::Instance();
            }));
        }
        start.set_value();
        std::set<CHttpConnectionMgr*> pools;
        for (auto& caller : callers) {
            pools.insert(caller.get());
        }
        EXPECT_EQ(pools.size(), 1u);
        EXPECT_EQ(pools.count(nullptr), 0u);
        CHttpConnectionMgr::Finalize();
        EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, "CHttpConnectionMgr::svc in "},
                                            {PROGRESS, "CHttpConnectionMgr::svc out"}}));
    }
}

TEST_F(PoolStart, WithoutDescriptorsLogsAnErrorStartsNoThreadAndStillLends) {
    const RefusedThread counted(0);
    {
        const RefusedEpoll refused;
        CHttpConnectionMgr::Instance();
    }
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    EXPECT_EQ(TakeMessages(),
              (Messages{{ERROR, "CHttpConnectionMgr::Initialize() inittimer failed error!"},
                        {ERROR, "CHttpConnectionMgr::CHttpConnectionMgr Initialize error!,ret=-1"}}));
    EXPECT_EQ(counted.Asked(), 0u);
    EXPECT_EQ(pool.thr_count(), 0u);
    ExpectWorksWithoutThread(pool);

    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(PoolStart, WithoutAThreadSaysSoAndStillLends) {
    {
        const RefusedThread refused;
        CHttpConnectionMgr::Instance();
        EXPECT_EQ(refused.Asked(), 1u);
    }
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    EXPECT_EQ(TakeMessages(),
              (Messages{{ERROR, "CHttpConnectionMgr::CHttpConnectionMgr Initialize error!,ret=-1"}}));
    ExpectWorksWithoutThread(pool);

    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(PoolStart, SchedulesOneTimerForItself) {
    const RefusedThread refused; // so that nothing works on the queue
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    ACE_Timer_Queue* timers = pool.m_pReactor->timer_queue();
    ASSERT_FALSE(timers->is_empty());
    EXPECT_EQ(timers->gettimeofday().sec(),
              std::chrono::duration_cast<std::chrono::seconds>(m_reactor.Now()).count());
    auto& timer = timers->iter();
    timer.first();
    EXPECT_EQ(timer.item()->get_type(), static_cast<ACE_Event_Handler*>(&pool));
    EXPECT_EQ(timer.item()->get_act(), nullptr);
    EXPECT_EQ(timer.item()->get_timer_value(), timers->gettimeofday() + ACE_Time_Value(1));
    EXPECT_EQ(timer.item()->get_interval(), ACE_Time_Value(20));
    timer.next();
    EXPECT_TRUE(timer.isdone());
}

TEST_F(PoolStart, ThatFailedIsFollowedByOneThatWorks) {
    {
        const RefusedThread refused;
        CHttpConnectionMgr::Instance();
    }
    CHttpConnectionMgr::Finalize();
    TakeMessages();
    CHttpConnectionMgr::Instance();
    EXPECT_TRUE(TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in "));
    EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, "CHttpConnectionMgr::svc in "}}));
}

} // namespace
