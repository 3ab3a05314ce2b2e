// SPDX-License-Identifier: Apache-2.0
// What a sweep closes and what it leaves.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "PoolTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

using Connections = std::vector<CHttpConnection*>;
using Keys = std::vector<std::string>;

class Sweeping : public PoolTest {
protected:
    Connections Here() { return ConnectionsOf(m_pool, "host:80", false); }
};

std::vector<const void*> ClosedHandles(const CurlRecorder& recorder) {
    std::vector<const void*> handles;
    for (const CurlEvent& event : recorder.Events(CurlCall::EasyCleanup)) {
        handles.push_back(event.handle);
    }
    return handles;
}

TEST_F(Sweeping, ClosesAConnectionThatHasBeenIdleForThirtySeconds) {
    for (const bool ssl : {false, true}) {
        CHttpConnection* conn = Get("host", 80, ssl);
        const void* easy = conn->GetCurl();
        m_pool.ReleaseConn(conn);
        const CurlRecorder recorder;
        m_clock.Advance(29);
        Sweep(m_pool);
        EXPECT_EQ(ConnectionsOf(m_pool, "host:80", ssl), Connections{conn});
        EXPECT_EQ(recorder.Events().size(), 0u);

        m_clock.Advance(1);
        Sweep(m_pool);
        EXPECT_EQ(ConnectionsOf(m_pool, "host:80", ssl), Connections{});
        EXPECT_EQ(ClosedHandles(recorder), std::vector<const void*>{easy});
        EXPECT_EQ(recorder.Events(CurlCall::MultiCleanup).size(), 1u);
    }
    EXPECT_EQ(TakeMessages(), Messages{}) << "a sweep says nothing";
}

TEST_F(Sweeping, LeavesWhatIsLentHoweverOld) {
    CHttpConnection* conn = Get("host");
    m_clock.Advance(1'000'000);
    Sweep(m_pool);
    EXPECT_EQ(Here(), Connections{conn});
    EXPECT_FALSE(conn->IsIdle());
    EXPECT_EQ(conn->GetFreeTime(), 0);

    m_pool.SetRlsTime(-5);
    Sweep(m_pool);
    EXPECT_EQ(Here(), Connections{conn}) << "whatever the release time";
}

TEST_F(Sweeping, AConnectionThatComesBackHasTheWholeReleaseTime) {
    CHttpConnection* conn = Get("host");
    m_clock.Advance(100);
    m_pool.ReleaseConn(conn);
    m_clock.Advance(29);
    Sweep(m_pool);
    EXPECT_EQ(Here(), Connections{conn});
    EXPECT_EQ(Get("host"), conn) << "lent again, it starts anew";
    m_clock.Advance(100);
    m_pool.ReleaseConn(conn);
    m_clock.Advance(29);
    Sweep(m_pool);
    EXPECT_EQ(Here(), Connections{conn});
    m_clock.Advance(1);
    Sweep(m_pool);
    EXPECT_EQ(Here(), Connections{});
}

TEST_F(Sweeping, ClosesOnlyWhatIsDueAndKeepsTheOrderOfTheOthers) {
    Connections made;
    for (int i = 0; i < 6; ++i) {
        made.push_back(Get("host"));
    }
    for (const std::size_t early : {0u, 2u, 5u}) {
        m_pool.ReleaseConn(made[early]);
    }
    m_clock.Advance(10);
    m_pool.ReleaseConn(made[3]);
    m_clock.Advance(20);
    Sweep(m_pool);
    EXPECT_EQ(Here(), (Connections{made[1], made[3], made[4]}));
}

TEST_F(Sweeping, VisitsPlainAndThenTlsAddressesInOrderOfTheirKeysOldestFirst) {
    std::vector<const void*> expected(6);
    const auto lend = [this](const std::string& host, bool ssl) { return Get(host, 80, ssl); };
    Connections made{lend("b", true),  lend("b", false), lend("a", false),
                     lend("a", false), lend("a", true),  lend("B", false)};
    const std::size_t order[] = {5, 1, 2, 0, 4, 3}; // any order of return
    for (const std::size_t i : order) {
        m_pool.ReleaseConn(made[i]);
    }
    const std::size_t closing[] = {5, 2, 3, 1, 4, 0}; // "B" sorts before "a"
    for (std::size_t i = 0; i < made.size(); ++i) {
        expected[i] = made[closing[i]]->GetCurl();
    }

    const CurlRecorder recorder;
    m_clock.Advance(30);
    Sweep(m_pool);
    EXPECT_EQ(ClosedHandles(recorder), expected);
}

TEST_F(Sweeping, WorksOnTheMapThatItIsGiven) {
    m_pool.ReleaseConn(Get("host", 80, false));
    m_pool.ReleaseConn(Get("host", 80, true));
    m_clock.Advance(30);
    const CHttpConnectionMgr& constant = m_pool;
    constant.HandeConnPool(m_pool.m_mapHttpsConn);
    EXPECT_EQ(KeysOf(m_pool, true), Keys{});
    EXPECT_EQ(KeysOf(m_pool, false), Keys{"host:80"});
    constant.HandeConnPool(m_pool.m_mapHttpConn);
    EXPECT_EQ(KeysOf(m_pool, false), Keys{});
    constant.HandeConnPool(m_pool.m_mapHttpConn); // of an empty map
}

TEST_F(Sweeping, AnAddressGoesWithItsLastConnectionAndFreesItsPlace) {
    for (const bool ssl : {false, true}) {
        for (int i = 0; i < 30; ++i) {
            m_pool.ReleaseConn(Get("host" + std::to_string(i), 80, ssl));
        }
        CHttpConnection* lent = Get("host7", 80, ssl);
        EXPECT_EQ(Get("new", 80, ssl), nullptr);
        m_clock.Advance(30);
        Sweep(m_pool);
        EXPECT_EQ(KeysOf(m_pool, ssl), Keys{"host7:80"});
        EXPECT_EQ(ConnectionsOf(m_pool, "host7:80", ssl), Connections{lent});
        EXPECT_NE(Get("new", 80, ssl), nullptr);
        EXPECT_NE(Get("host0", 80, ssl), nullptr) << "a closed address starts a new list";
    }
}

TEST_F(Sweeping, AReleaseTimeOfZeroOrLessClosesEveryIdleConnection) {
    for (const std::int64_t seconds :
         {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        m_pool.SetRlsTime(seconds);
        CHttpConnection* lent = Get("host");
        m_pool.ReleaseConn(Get("host"));
        m_pool.ReleaseConn(Get("other"));
        Sweep(m_pool);
        EXPECT_EQ(Here(), Connections{lent}) << seconds;
        EXPECT_EQ(KeysOf(m_pool, false), Keys{"host:80"}) << seconds;
        m_pool.ReleaseConn(lent);
    }
}

TEST_F(Sweeping, FollowsTheReleaseTimeUpAndDown) {
    m_pool.ReleaseConn(Get("host"));
    m_pool.SetRlsTime(60);
    m_clock.Advance(59);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 1u);
    m_pool.SetRlsTime(std::numeric_limits<std::int64_t>::max());
    m_clock.Advance(1'000'000);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 1u);
    m_pool.SetRlsTime(10);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 0u);
}

TEST_F(Sweeping, AClockSetForwardMakesIdleConnectionsOlder) {
    m_pool.ReleaseConn(Get("host"));
    m_clock.Advance(3600);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 0u);
}

TEST_F(Sweeping, AClockSetBackKeepsIdleConnectionsLonger) {
    m_pool.ReleaseConn(Get("host"));
    m_clock.Advance(-3600);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 1u);
    m_clock.Advance(3600 + 29);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 1u);
    m_pool.SetRlsTime(-10);
    m_clock.Set(T - 11);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 1u) << "idle for -11 s, which is less than -10 s";
    m_clock.Advance(1);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 0u);
}

TEST_F(Sweeping, ClosesConnectionsWithoutHandles) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    recorder.Force(CurlCall::MultiInit);
    m_pool.ReleaseConn(Get("host"));
    recorder.Clear();
    m_clock.Advance(30);
    Sweep(m_pool);
    EXPECT_EQ(Here().size(), 0u);
    EXPECT_EQ(recorder.Events().size(), 0u);
}

} // namespace
