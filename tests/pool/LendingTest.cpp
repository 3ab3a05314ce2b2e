// SPDX-License-Identifier: Apache-2.0
// Lending connections and taking them back.
#include <set>
#include <string>
#include <vector>

#include <httpclient/testing/RecordingTrace.h>

#include "PoolTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"
#include "pool/HttpsConnection.h"

using namespace httpclient::testing;

namespace {

class Lending : public PoolTest {};

using Connections = std::vector<CHttpConnection*>;
using Keys = std::vector<std::string>;

constexpr const char* UPPER_LIMIT = "CHttpConnectionMgr::GetConn, no idle connection, and connections number "
                                    "reached the upper limit,maxconn is ";

TEST_F(Lending, TheFirstConnectionOfAnAddressMakesTheAddress) {
    EXPECT_EQ(KeysOf(m_pool, false), Keys{});
    CHttpConnection* conn = Get("10.1.2.3", 8080);
    ASSERT_NE(conn, nullptr);
    EXPECT_EQ(KeysOf(m_pool, false), Keys{"10.1.2.3:8080"});
    EXPECT_EQ(ConnectionsOf(m_pool, "10.1.2.3:8080", false), Connections{conn});
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Lending, ANewConnectionIsMadeForTheHostWithoutItsPort) {
    const CHttpConnection* conn = Get("10.1.2.3", 8080);
    EXPECT_EQ(conn->m_strAddress, "10.1.2.3");
    EXPECT_EQ(conn->m_nPort, 8080);
    EXPECT_EQ(dynamic_cast<const CHttpsConnection*>(conn), nullptr);
}

TEST_F(Lending, WhatIsLentIsNotIdleAndHasNoFreeTime) {
    CHttpConnection* conn = Get("host");
    EXPECT_FALSE(conn->IsIdle());
    EXPECT_EQ(conn->GetFreeTime(), 0);

    m_pool.ReleaseConn(conn);
    EXPECT_EQ(Get("host"), conn);
    EXPECT_FALSE(conn->IsIdle());
    EXPECT_EQ(conn->GetFreeTime(), 0);
}

TEST_F(Lending, LendsADifferentConnectionUntilOneComesBack) {
    CHttpConnection* first = Get("host");
    CHttpConnection* second = Get("host");
    EXPECT_NE(first, second);
    EXPECT_EQ(ConnectionsOf(m_pool, "host:80", false), (Connections{first, second}))
        << "new ones are appended";
    m_pool.ReleaseConn(first);
    EXPECT_EQ(Get("host"), first);
    CHttpConnection* third = Get("host");
    EXPECT_EQ(ConnectionsOf(m_pool, "host:80", false), (Connections{first, second, third}));
}

TEST_F(Lending, TheOldestIdleConnectionWinsHoweverLateItCameBack) {
    const Connections made{Get("host"), Get("host"), Get("host"), Get("host")};
    for (const std::size_t returned : {3u, 2u, 1u}) {
        m_pool.ReleaseConn(made[returned]);
        m_clock.Advance(5);
    }
    EXPECT_EQ(Get("host"), made[1]);
    EXPECT_EQ(Get("host"), made[2]);
    EXPECT_EQ(Get("host"), made[3]);
}

TEST_F(Lending, TakesAConnectionBackAtTheCurrentTime) {
    CHttpConnection* conn = Get("host");
    m_clock.Advance(7);
    m_pool.ReleaseConn(conn);
    EXPECT_TRUE(conn->IsIdle());
    EXPECT_EQ(conn->GetFreeTime(), T + 7);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Lending, ReleasingTwiceOnlyRenewsTheFreeTime) {
    CHttpConnection* conn = Get("host");
    m_pool.ReleaseConn(conn);
    m_clock.Advance(11);
    m_pool.ReleaseConn(conn);
    EXPECT_TRUE(conn->IsIdle());
    EXPECT_EQ(conn->GetFreeTime(), T + 11);
    EXPECT_EQ(ConnectionsOf(m_pool, "host:80", false), Connections{conn});
    EXPECT_EQ(Get("host"), conn);
    EXPECT_NE(Get("host"), conn) << "still only one connection to lend";
}

TEST_F(Lending, DoesNotAskWhetherAReleasedConnectionIsItsOwn) {
    CHttpConnection stranger("host", 80);
    m_pool.ReleaseConn(&stranger);
    EXPECT_TRUE(stranger.IsIdle());
    EXPECT_EQ(stranger.GetFreeTime(), T);
    EXPECT_EQ(KeysOf(m_pool, false), Keys{});
    EXPECT_NE(Get("host"), &stranger);
}

TEST_F(Lending, AnEmptyHostIsRefusedWithAnError) {
    for (const bool ssl : {false, true}) {
        EXPECT_EQ(Get("", 80, ssl), nullptr);
        EXPECT_EQ(TakeMessages(),
                  (Messages{{ERROR, "CHttpConnectionMgr::GetConn, domain is empty, return nullptr"}}));
        EXPECT_EQ(KeysOf(m_pool, ssl), Keys{});
    }
}

TEST_F(Lending, EachPortIsAnAddressOfItsOwn) {
    CHttpConnection* conn = Get("host", 80);
    m_pool.ReleaseConn(conn);
    EXPECT_NE(Get("host", 8080), conn);
    EXPECT_EQ(KeysOf(m_pool, false), (Keys{"host:80", "host:8080"}));
}

TEST_F(Lending, TlsAndPlainConnectionsToOneAddressAreKeptApart) {
    CHttpConnection* plain = Get("host", 443, false);
    m_pool.ReleaseConn(plain);
    CHttpConnection* tls = Get("host", 443, true);
    EXPECT_NE(tls, plain);
    EXPECT_NE(dynamic_cast<CHttpsConnection*>(tls), nullptr);
    EXPECT_EQ(tls->m_strAddress, "host");
    EXPECT_EQ(tls->m_nPort, 443);
    EXPECT_EQ(ConnectionsOf(m_pool, "host:443", false), Connections{plain});
    EXPECT_EQ(ConnectionsOf(m_pool, "host:443", true), Connections{tls});

    CHttpConnection* second = Get("host", 443, true);
    EXPECT_NE(dynamic_cast<CHttpsConnection*>(second), nullptr) << "of a known address, too";
    m_pool.ReleaseConn(tls);
    EXPECT_EQ(Get("host", 443, true), tls);
}

TEST_F(Lending, WritesThePortAsASignedNumber) {
    const std::vector<std::pair<unsigned int, std::string>> ports{
        {0, "host:0"},
        {65535, "host:65535"},
        {2147483647u, "host:2147483647"},
        {2147483648u, "host:-2147483648"},
        {4294967295u, "host:-1"},
    };
    for (const auto& [port, addr] : ports) {
        EXPECT_EQ(ConnectionsOf(m_pool, addr, false), Connections{}) << addr;
    }
    for (const auto& [port, addr] : ports) {
        CHttpConnection* conn = Get("host", port);
        EXPECT_EQ(ConnectionsOf(m_pool, addr, false), Connections{conn}) << addr;
        EXPECT_EQ(conn->m_nPort, static_cast<int>(port));
    }
    EXPECT_EQ(KeysOf(m_pool, false).size(), ports.size());
}

TEST_F(Lending, TakesAnyHostTextAsItIs) {
    for (const std::string host : {"Host", "host", "[::1]", "h:80", " ", "\xff"}) {
        CHttpConnection* conn = Get(host);
        EXPECT_EQ(ConnectionsOf(m_pool, host + ":80", false), Connections{conn});
    }
    EXPECT_EQ(KeysOf(m_pool, false).size(), 6u);
}

TEST_F(Lending, FindsTheListOfAnAddressWithoutMakingOne) {
    Get("host");
    EXPECT_EQ(m_pool.GetConnList("", false), nullptr);
    EXPECT_EQ(m_pool.GetConnList("", true), nullptr);
    EXPECT_EQ(m_pool.GetConnList("host:80", true), nullptr);
    EXPECT_EQ(m_pool.GetConnList("host:81", false), nullptr);
    EXPECT_EQ(m_pool.GetConnList("host", false), nullptr);
    EXPECT_EQ(m_pool.GetConnList("host:80", false), m_pool.m_mapHttpConn.at("host:80"));
    EXPECT_EQ(KeysOf(m_pool, false), Keys{"host:80"});
    EXPECT_EQ(KeysOf(m_pool, true), Keys{});
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Lending, KeepsTheHandlesAndWhatBorrowersSetOnThem) {
    CHttpConnection* conn = Get("host");
    CURL* const easy = conn->GetCurl();
    CURLM* const multi = conn->GetCurlM();
    int mark = 0;
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &mark);

    const CurlRecorder recorder;
    m_pool.ReleaseConn(conn);
    ASSERT_EQ(Get("host"), conn);
    EXPECT_EQ(recorder.Events().size(), 0u) << "neither reset nor made anew";
    EXPECT_EQ(conn->GetCurl(), easy);
    EXPECT_EQ(conn->GetCurlM(), multi);
    char* kept = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &kept);
    EXPECT_EQ(static_cast<void*>(kept), &mark);
}

TEST_F(Lending, AddsNoHandleToTheMultiHandle) {
    const CurlRecorder recorder;
    m_pool.ReleaseConn(Get("host"));
    Get("host");
    EXPECT_EQ(recorder.Events(CurlCall::MultiAddHandle).size(), 0u);
    EXPECT_EQ(recorder.Options().size(), 0u);
}

TEST_F(Lending, AnAddressHasNoMoreConnectionsThanItsLimit) {
    Connections made;
    for (int i = 0; i < 100; ++i) {
        made.push_back(Get("host"));
    }
    EXPECT_EQ(std::set<CHttpConnection*>(made.begin(), made.end()).size(), 100u);
    EXPECT_EQ(TakeMessages(), Messages{});

    EXPECT_EQ(Get("host"), nullptr);
    EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, std::string(UPPER_LIMIT) + "100"}}));
    EXPECT_EQ(ConnectionsOf(m_pool, "host:80", false), made);
    EXPECT_NE(Get("other"), nullptr) << "the limit is the address's";
    EXPECT_NE(Get("host", 80, true), nullptr) << "and apart for TLS";

    m_pool.ReleaseConn(made[42]);
    EXPECT_EQ(Get("host"), made[42]);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Lending, TheLimitOfATlsAddressHoldsAsWell) {
    m_pool.m_MaxConnNum = 2;
    EXPECT_NE(Get("host", 443, true), nullptr);
    EXPECT_NE(Get("host", 443, true), nullptr);
    EXPECT_EQ(Get("host", 443, true), nullptr);
    EXPECT_EQ(TakeMessages(), (Messages{{PROGRESS, std::string(UPPER_LIMIT) + "2"}}));
}

TEST_F(Lending, AThirtyFirstAddressIsRefusedSilently) {
    for (int i = 0; i < 30; ++i) {
        EXPECT_NE(Get("host" + std::to_string(i)), nullptr);
    }
    const Keys full = KeysOf(m_pool, false);
    EXPECT_EQ(Get("host30"), nullptr);
    EXPECT_EQ(Get("host0", 81), nullptr);
    EXPECT_EQ(KeysOf(m_pool, false), full);
    EXPECT_NE(Get("host0"), nullptr) << "a known address still grows";
    EXPECT_EQ(TakeMessages(), Messages{});

    EXPECT_NE(Get("host30", 80, true), nullptr) << "TLS addresses are counted apart";
    for (int i = 0; i < 29; ++i) {
        EXPECT_NE(Get("host" + std::to_string(i), 80, true), nullptr);
    }
    EXPECT_EQ(Get("host29", 80, true), nullptr);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Lending, AConnectionWithoutHandlesIsLentAndCounted) {
    m_pool.m_MaxConnNum = 1;
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    recorder.Force(CurlCall::MultiInit);
    CHttpConnection* conn = Get("host");
    ASSERT_NE(conn, nullptr);
    EXPECT_EQ(conn->GetCurl(), nullptr);
    EXPECT_EQ(conn->GetCurlM(), nullptr);
    EXPECT_EQ(TakeMessages(), Messages{});

    EXPECT_EQ(Get("host"), nullptr) << "it counts";
    m_pool.ReleaseConn(conn);
    EXPECT_EQ(Get("host"), conn) << "and is lent again";
}

TEST_F(Lending, AgainGivesAConnectionTheHandlesThatItMisses) {
    for (const bool bSSL : {false, true}) {
        CurlRecorder recorder;
        recorder.Force(CurlCall::EasyInit);
        recorder.Force(CurlCall::MultiInit);
        CHttpConnection* conn = Get("host", 80, bSSL);
        m_pool.ReleaseConn(conn);
        recorder.Clear();

        EXPECT_EQ(Get("host", 80, bSSL), conn);
        EXPECT_NE(conn->GetCurl(), nullptr);
        EXPECT_NE(conn->GetCurlM(), nullptr);
        EXPECT_EQ(recorder.Events(CurlCall::EasySetopt).size(), bSSL ? 8u : 0u) << "set up like any other";
        EXPECT_EQ(conn->GetFreeTime(), 0);
        EXPECT_FALSE(conn->IsIdle());
    }
}

TEST_F(Lending, AgainLeavesTheHandleThatAConnectionHas) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::MultiInit);
    CHttpConnection* conn = Get("host");
    const CURL* easy = conn->GetCurl();
    ASSERT_NE(easy, nullptr);
    m_pool.ReleaseConn(conn);
    EXPECT_EQ(Get("host"), conn);
    EXPECT_EQ(conn->GetCurl(), easy);
    EXPECT_NE(conn->GetCurlM(), nullptr);
}

TEST_F(Lending, AgainWithoutHandlesIsTriedEachTime) {
    CurlRecorder recorder;
    for (int i = 0; i < 3; ++i) {
        recorder.Force(CurlCall::EasyInit);
        CHttpConnection* conn = Get("host");
        ASSERT_NE(conn, nullptr);
        EXPECT_EQ(conn->GetCurl(), nullptr);
        EXPECT_EQ(ConnectionsOf(m_pool, "host:80", false).size(), 1u);
        m_pool.ReleaseConn(conn);
    }
    EXPECT_NE(Get("host")->GetCurl(), nullptr);
}

TEST_F(Lending, FormatsNoMessageThatIsNotProduced) {
    m_pool.m_MaxConnNum = 1;
    Get("host");
    TraceRecorder::Instance().SetLowestLevel(ERROR);
    EXPECT_EQ(Get("host"), nullptr);
    EXPECT_EQ(TraceRecorder::Instance().Formatted(), 0u);
    EXPECT_EQ(TakeMessages(), Messages{});
    EXPECT_EQ(Get(""), nullptr);
    EXPECT_EQ(TakeMessages().size(), 1u);
}

} // namespace
