// SPDX-License-Identifier: Apache-2.0
// Random steps, and after each the pool is what a model of a few lines says.
#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <httpclient/testing/RecordingTrace.h>

#include "PoolTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

struct Conn {
    int id;
    bool idle;
    std::int64_t freeTime;
    bool operator==(const Conn& other) const {
        return id == other.id && idle == other.idle && freeTime == other.freeTime;
    }
};

std::ostream& operator<<(std::ostream& out, const Conn& conn) {
    return out << conn.id << (conn.idle ? " idle " : " lent ") << conn.freeTime;
}

using Addresses = std::map<std::string, std::vector<Conn>>;

/// The pool in the plainest words; a connection is a number, counted from 1.
struct Model {
    Addresses plain, tls;
    unsigned int maxConn = 100, maxAddr = 30;
    std::int64_t releaseTime = 30;
    int made = 0;
    Messages messages;       // of the last step
    std::vector<int> closed; // by the last step, in order

    int Get(const std::string& host, unsigned int port, bool ssl) {
        if (host.empty()) {
            Say(ERROR, "GetConn, domain is empty, return nullptr");
            return 0;
        }
        Addresses& addresses = ssl ? tls : plain;
        const std::string key = host + ":" + std::to_string(static_cast<int>(port));
        if (addresses.count(key) == 0 && addresses.size() >= maxAddr) {
            return 0;
        }
        for (Conn& conn : addresses[key]) {
            if (conn.idle) {
                return (conn = {conn.id, false, 0}).id;
            }
        }
        if (addresses[key].size() >= maxConn) {
            Say(PROGRESS,
                "GetConn, no idle connection, and connections number reached the upper limit,maxconn is " +
                    std::to_string(maxConn));
            return 0;
        }
        addresses[key].push_back({++made, false, 0});
        return made;
    }

    void Release(int id, std::int64_t now) {
        for (Addresses* addresses : {&plain, &tls}) {
            for (auto& entry : *addresses) {
                for (Conn& conn : entry.second) {
                    if (conn.id == id) {
                        conn = {id, true, now};
                    }
                }
            }
        }
    }

    void Sweep(std::int64_t now) {
        for (Addresses* addresses : {&plain, &tls}) {
            Addresses left;
            for (const auto& [key, conns] : *addresses) {
                for (const Conn& conn : conns) {
                    if (conn.idle && now - conn.freeTime >= releaseTime) {
                        closed.push_back(conn.id);
                    } else {
                        left[key].push_back(conn);
                    }
                }
            }
            *addresses = left;
        }
    }

    void Finalize() {
        std::vector<int> ids;
        for (const auto& entry : plain) {
            for (const Conn& conn : entry.second) {
                ids.push_back(conn.id);
            }
        }
        const int sofar = made;
        *this = Model{};
        made = sofar;
        closed = ids;
    }

    void Say(int level, const std::string& text) {
        messages.emplace_back(level, "CHttpConnectionMgr::" + text);
    }
};

/// The pool and its model, taken through the same steps.
class Pair {
public:
    Pair(unsigned int seed, FakeClock& clock) : m_random(seed), m_clock(clock) { Begin(); }
    ~Pair() { End(); }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    void Step() {
        m_model.messages.clear();
        m_model.closed.clear();
        const unsigned int kind = Below(1000);
        if (kind < 420) {
            Get();
        } else if (kind < 780) {
            Release();
        } else if (kind < 860) {
            Sweep();
        } else if (kind < 940) {
            m_clock.Advance(Below(12));
        } else if (kind < 955) {
            m_clock.Advance(-static_cast<int>(Below(40)));
        } else if (kind < 975) {
            Raise();
        } else if (kind < 998) {
            SetReleaseTime();
        } else {
            Finalize();
        }
    }

    void ExpectEqual() {
        EXPECT_EQ(StateOf(m_pool->m_mapHttpConn), m_model.plain);
        EXPECT_EQ(StateOf(m_pool->m_mapHttpsConn), m_model.tls);
        EXPECT_EQ(m_pool->GetConnPoolSize(), m_model.maxConn);
        EXPECT_EQ(m_pool->GetConnAddrSize(), m_model.maxAddr);
        EXPECT_EQ(m_pool->m_releasedtime, m_model.releaseTime);
        EXPECT_EQ(TakeMessages(), m_model.messages);
        ExpectClosed();
    }

private:
    unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

    // A pool with limits so low that they are met.
    void Begin() {
        m_pool = CHttpConnectionMgr::Instance();
        TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in ");
        EXPECT_EQ(m_pool->m_MaxConnNum, m_model.maxConn);
        EXPECT_EQ(m_pool->m_MaxConnCategory, m_model.maxAddr);
        EXPECT_EQ(m_pool->m_releasedtime, m_model.releaseTime);
        m_pool->m_MaxConnNum = m_model.maxConn = 2;
        m_pool->m_MaxConnCategory = m_model.maxAddr = 3;
        TakeMessages();
    }

    // The TLS connections that the pool leaves alone are this test's.
    void End() {
        std::vector<std::unique_ptr<CHttpConnection>> left;
        for (const auto& entry : m_model.tls) {
            for (const Conn& conn : entry.second) {
                left.emplace_back(m_conns.at(conn.id));
            }
        }
        CHttpConnectionMgr::Finalize();
        m_model.Finalize();
        m_lent.clear();
        ExpectClosed();
        m_model.closed.clear();
        TakeMessages();
        left.clear();
        m_recorder.Clear();
    }

    void ExpectClosed() {
        std::vector<int> closed;
        for (const CurlEvent& event : m_recorder.Events(CurlCall::EasyCleanup)) {
            closed.push_back(m_idOfHandle[event.handle]);
        }
        EXPECT_EQ(closed, m_model.closed);
        m_recorder.Clear();
    }

    void Get() {
        static constexpr const char* NAMES[] = {"", "a", "a", "b", "10.0.0.1"};
        static constexpr unsigned int PORTS[] = {80, 80, 443, 4294967295u};
        const char* host = NAMES[Below(5)];
        const unsigned int port = PORTS[Below(4)];
        const bool ssl = Below(3) == 0;
        const int madeBefore = m_model.made;
        const int expected = m_model.Get(host, port, ssl);
        CHttpConnection* conn = m_pool->GetConn(host, port, ssl);
        ASSERT_EQ(conn != nullptr, expected != 0);
        if (conn == nullptr) {
            return;
        }
        if (m_model.made != madeBefore) {
            m_conns[expected] = conn;
            m_ids[conn] = expected;
            m_idOfHandle[conn->GetCurl()] = expected;
        }
        EXPECT_EQ(m_ids.at(conn), expected);
        m_lent.push_back(expected);
    }

    void Release() {
        if (m_lent.empty()) {
            return;
        }
        const auto which = m_lent.begin() + Below(static_cast<unsigned int>(m_lent.size()));
        m_model.Release(*which, m_clock.Now());
        m_pool->ReleaseConn(m_conns.at(*which));
        if (Below(20) == 0) { // twice does no harm
            m_pool->ReleaseConn(m_conns.at(*which));
        }
        m_lent.erase(which);
    }

    void Sweep() {
        m_model.Sweep(m_clock.Now());
        ::Sweep(*m_pool);
    }

    void Raise() {
        const unsigned int maxConn = Below(5);
        const unsigned int maxAddr = Below(7);
        const unsigned int kind = Below(3);
        const bool raisesConn = kind != 1 && maxConn > m_model.maxConn;
        const bool raisesAddr = kind != 0 && maxAddr > m_model.maxAddr;
        m_model.maxConn = raisesConn ? maxConn : m_model.maxConn;
        m_model.maxAddr = raisesAddr ? maxAddr : m_model.maxAddr;
        const std::string conn = "m_MaxConnNum=" + std::to_string(m_model.maxConn);
        const std::string addr = "m_MaxConnCategory=" + std::to_string(m_model.maxAddr);
        if (kind == 0) {
            m_pool->SetMaxConnPerAddr(maxConn);
            if (raisesConn) {
                m_model.Say(PROGRESS, "SetMaxConnPerAddr, " + conn);
            }
        } else if (kind == 1) {
            m_pool->SetMaxConnAddr(maxAddr);
            if (raisesAddr) {
                m_model.Say(PROGRESS, "SetMaxConnAddr, " + addr);
            }
        } else {
            m_pool->ResizeConnPool(maxConn, maxAddr);
            m_model.Say(PROGRESS, "ResizeConnPool, " + conn + ", " + addr);
        }
    }

    void SetReleaseTime() {
        m_model.releaseTime = static_cast<int>(Below(50)) - 10;
        m_pool->SetRlsTime(m_model.releaseTime);
        m_model.Say(PROGRESS, "SetRlsTime, m_releasedtime=" + std::to_string(m_model.releaseTime));
    }

    void Finalize() {
        End();
        Begin();
    }

    Addresses StateOf(const CHttpConnectionMgr::ConnMap& map) {
        Addresses state;
        for (const auto& [key, list] : map) {
            EXPECT_FALSE(list->empty()) << key;
            for (const CHttpConnection* conn : *list) {
                state[key].push_back({m_ids.at(conn), conn->IsIdle(), conn->GetFreeTime()});
            }
        }
        return state;
    }

    std::mt19937 m_random;
    FakeClock& m_clock;
    CurlRecorder m_recorder;
    Model m_model;
    CHttpConnectionMgr* m_pool = nullptr;
    std::map<int, CHttpConnection*> m_conns;
    std::map<const CHttpConnection*, int> m_ids;
    std::map<const void*, int> m_idOfHandle;
    std::vector<int> m_lent;
};

class PoolModel : public WithoutPool, public ::testing::WithParamInterface<unsigned int> {};

TEST_P(PoolModel, IsWhatThePoolIsAfterEachOfTenThousandSteps) {
    Pair pair(GetParam(), m_clock);
    for (int step = 0; step < 10'000 && !HasFailure(); ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        pair.Step();
        pair.ExpectEqual();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PoolModel, ::testing::Values(1u, 20u, 300u, 4000u));

} // namespace
