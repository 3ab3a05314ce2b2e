// SPDX-License-Identifier: Apache-2.0
// Which operation takes which lock, and what happens when the lock cannot be taken.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <ace/Time_Value.h>

#include "HeldLock.h"
#include "PoolTest.h"
#include "pool/HttpConnection.h"

namespace {

class Locking : public PoolTest {
protected:
    using Operation = std::pair<std::string, std::function<void()>>;

    std::vector<Operation> LockingOperations() {
        return {
            {"GetConn", [this] { EXPECT_NE(Get("host"), nullptr); }},
            {"GetConn of a known address", [this] { EXPECT_NE(Get("host"), nullptr); }},
            {"ReleaseConn", [this] { m_pool.ReleaseConn(m_pool.m_mapHttpConn.at("host:80")->front()); }},
            {"GetConn of an idle connection",
             [this] { EXPECT_EQ(Get("host"), m_pool.m_mapHttpConn.at("host:80")->front()); }},
            {"SetMaxConnPerAddr", [this] { m_pool.SetMaxConnPerAddr(1); }},
            {"SetMaxConnAddr", [this] { m_pool.SetMaxConnAddr(1); }},
            {"ResizeConnPool", [this] { m_pool.ResizeConnPool(101, 31); }},
            {"GetConnPoolSize", [this] { EXPECT_EQ(m_pool.GetConnPoolSize(), 101u); }},
            {"GetConnAddrSize", [this] { EXPECT_EQ(m_pool.GetConnAddrSize(), 31u); }},
            {"SetRlsTime", [this] { m_pool.SetRlsTime(31); }},
            {"handle_timeout", [this] { Sweep(m_pool); }},
        };
    }
};

TEST_F(Locking, EveryOperationTakesThePoolLockOnceForWriting) {
    for (const auto& [name, operate] : LockingOperations()) {
        const HeldLock lock(LockOf(m_pool));
        operate();
        EXPECT_EQ(lock.Writes(), 1) << name;
        EXPECT_EQ(lock.Reads(), 0) << name;
        EXPECT_EQ(lock.Unlocks(), 1) << name;
    }
}

TEST_F(Locking, RefusalsReleaseTheLockToo) {
    m_pool.m_MaxConnNum = 1;
    m_pool.m_MaxConnCategory = 1;
    Get("host");
    const HeldLock lock(LockOf(m_pool));
    EXPECT_EQ(Get("host"), nullptr);
    EXPECT_EQ(Get("other"), nullptr);
    EXPECT_EQ(lock.Writes(), 2);
    EXPECT_EQ(lock.Unlocks(), 2);
}

TEST_F(Locking, AnEmptyHostAndAListNeedNoLock) {
    Get("host");
    const HeldLock lock(LockOf(m_pool));
    EXPECT_EQ(Get(""), nullptr);
    EXPECT_NE(m_pool.GetConnList("host:80", false), nullptr);
    m_pool.HandeConnPool(m_pool.m_mapHttpConn);
    EXPECT_EQ(lock.Writes(), 0);
    EXPECT_EQ(lock.Unlocks(), 0);
}

TEST_F(Locking, EveryOperationRunsAndReleasesNothingWhenTheLockFails) {
    for (const auto& [name, operate] : LockingOperations()) {
        HeldLock lock(LockOf(m_pool));
        lock.RefuseWriting();
        operate();
        EXPECT_EQ(lock.Writes(), 1) << name;
        EXPECT_EQ(lock.Unlocks(), 0) << name;
    }
    EXPECT_EQ(m_pool.m_releasedtime, 31);
    for (const auto& message : TakeMessages()) {
        EXPECT_EQ(message.first, PROGRESS) << message.second;
    }
}

TEST_F(Locking, TheSweepRunsWhenTheLockCannotBeTaken) {
    m_pool.ReleaseConn(Get("host"));
    m_clock.Advance(30);
    {
        HeldLock lock(LockOf(m_pool));
        lock.RefuseWriting();
        Sweep(m_pool);
    }
    EXPECT_EQ(KeysOf(m_pool, false).size(), 0u);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Locking, AnExistingPoolIsFoundWithoutTheClassMutex) {
    CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.acquire(); // not recursive
    EXPECT_EQ(CHttpConnectionMgr::Instance(), &m_pool);
    CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.release();
}

TEST_F(Locking, TheClassMutexIsFreeAfterMakingAndAfterFinalizing) {
    const auto expectFree = [] {
        ASSERT_EQ(CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.tryacquire(), 0);
        CHttpConnectionMgr::m_HttpConnectionMgr_Mutex.release();
    };
    expectFree();
    CHttpConnectionMgr::Finalize();
    expectFree();
    CHttpConnectionMgr::Finalize();
    expectFree();
}

} // namespace
