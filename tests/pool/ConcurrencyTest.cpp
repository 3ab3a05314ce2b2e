// SPDX-License-Identifier: Apache-2.0
// Many threads at one pool.
#include <array>
#include <atomic>
#include <chrono>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "PoolTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int THREADS = 8;
constexpr unsigned int STEPS = 1250; // ten thousand in all
constexpr unsigned int HOSTS = 3;
constexpr unsigned int MAX_CONN = 3;

std::string Host(unsigned int i) {
    return "host" + std::to_string(i);
}

/// Borrows and returns at random, and marks what it holds. No lock of the test's own stands between two
/// borrowers, so that the thread sanitizer sees whether the pool's does.
class Borrower {
public:
    Borrower(unsigned int number, FakeClock& clock) : m_number(number), m_random(number), m_clock(clock) {}

    void Run() {
        for (unsigned int step = 0; step < STEPS; ++step) {
            const unsigned int kind = Below(100);
            if (kind < 45) {
                Borrow();
            } else if (kind < 90) {
                Return();
            } else if (kind < 93) {
                Sweep(*CHttpConnectionMgr::Instance());
            } else if (kind < 96) {
                m_clock.Advance(kind == 95 ? -5 : 10);
            } else {
                Tune(kind);
            }
        }
        while (!m_held.empty()) {
            Return();
        }
    }

private:
    struct Held {
        CHttpConnection* conn;
        unsigned int host;
    };

    unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

    void Borrow() {
        const unsigned int host = Below(HOSTS);
        CHttpConnection* conn = CHttpConnectionMgr::Instance()->GetConn(Host(host), 80, host == 0);
        if (conn == nullptr) {
            return;
        }
        EXPECT_FALSE(conn->IsIdle());
        EXPECT_EQ(conn->GetFreeTime(), 0);
        EXPECT_LE(++m_lent[host], static_cast<int>(MAX_CONN));
        conn->m_nPort = static_cast<int>(m_number); // a plain field: whoever else wrote it would be seen
        m_held.push_back({conn, host});
    }

    void Return() {
        if (m_held.empty()) {
            return;
        }
        const auto which = m_held.begin() + Below(static_cast<unsigned int>(m_held.size()));
        EXPECT_EQ(which->conn->m_nPort, static_cast<int>(m_number)) << "lent to two at a time";
        --m_lent[which->host];
        CHttpConnectionMgr::Instance()->ReleaseConn(which->conn);
        m_held.erase(which);
    }

    void Tune(unsigned int kind) {
        CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
        if (kind == 96) {
            pool->SetRlsTime(0);
        } else if (kind == 97) {
            pool->SetRlsTime(20);
        } else if (kind == 98) {
            RaiseLimits(*pool);
        } else {
            EXPECT_LE(pool->GetConnPoolSize() + pool->GetConnAddrSize(), MAX_CONN + HOSTS);
        }
    }

    /// Raises one limit or both, or neither: they never shrink.
    void RaiseLimits(CHttpConnectionMgr& pool) {
        const unsigned int maxConn = 1 + Below(MAX_CONN);
        const unsigned int maxAddr = 1 + Below(HOSTS);
        switch (Below(3)) {
        case 0:
            return pool.SetMaxConnPerAddr(maxConn);
        case 1:
            return pool.SetMaxConnAddr(maxAddr);
        default:
            return pool.ResizeConnPool(maxConn, maxAddr);
        }
    }

    static std::array<std::atomic<int>, HOSTS> m_lent;

    unsigned int m_number;
    std::mt19937 m_random;
    FakeClock& m_clock;
    std::vector<Held> m_held;
};

std::array<std::atomic<int>, HOSTS> Borrower::m_lent{};

class PoolConcurrency : public PoolTest {};

TEST_F(PoolConcurrency, EightThreadsNeverShareAConnectionNorPassALimit) {
    m_pool.m_MaxConnNum = 1;
    m_pool.m_MaxConnCategory = 1;
    CurlRecorder recorder;
    std::atomic<unsigned int> running{THREADS};
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            Borrower(i, m_clock).Run();
            --running;
        });
    }
    while (running > 0) {
        EXPECT_TRUE(m_reactor.AdvanceAndSettle(20s)) << "the pool's thread sweeps meanwhile";
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    std::set<CHttpConnection*> all;
    std::size_t count = 0;
    for (const bool ssl : {false, true}) {
        EXPECT_LE(KeysOf(m_pool, ssl).size(), HOSTS);
        for (const std::string& addr : KeysOf(m_pool, ssl)) {
            const auto connections = ConnectionsOf(m_pool, addr, ssl);
            EXPECT_GE(connections.size(), 1u) << addr;
            EXPECT_LE(connections.size(), MAX_CONN) << addr;
            for (CHttpConnection* conn : connections) {
                EXPECT_TRUE(conn->IsIdle()) << "all were given back";
            }
            all.insert(connections.begin(), connections.end());
            count += connections.size();
        }
    }
    EXPECT_EQ(m_pool.GetConnPoolSize(), MAX_CONN);
    EXPECT_EQ(m_pool.GetConnAddrSize(), HOSTS);
    EXPECT_EQ(all.size(), count);
    EXPECT_EQ(recorder.Events(CurlCall::EasyInit).size(),
              count + recorder.Events(CurlCall::EasyCleanup).size());
    EXPECT_GT(recorder.Events(CurlCall::EasyCleanup).size(), 0u) << "sweeps closed some";
    EXPECT_GT(TakeMessages().size(), 0u);
}

} // namespace
