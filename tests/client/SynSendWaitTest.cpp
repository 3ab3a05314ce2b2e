// SPDX-License-Identifier: Apache-2.0
// How a synchronous send waits for a connection of the pool.
#include <string>
#include <thread>
#include <vector>

#include <httpclient/Engine.h>
#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>

#include "ClientFixture.h"
#include "interpose/CurlRecorder.h"
#include "interpose/LentConnections.h"
#include "interpose/Sleep.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

using Messages = std::vector<std::string>;

constexpr std::size_t TRIES = 100;
const std::string LIMIT_REACHED =
    "[3] CHttpConnectionMgr::GetConn, no idle connection, and connections number reached the upper "
    "limit,maxconn is 100";
constexpr long MANY_CONNECTIONS = 1000;
const std::string RETRYING = "[5] synSendRequest::no idle conn now, wait 3s and retry...";
const std::string GIVEN_UP = "[5] synSendRequest::HTTP get connection from pool failed!";

/// The messages of so many tries that found every connection lent out.
Messages FailedTries(std::size_t tries) {
    Messages messages;
    for (std::size_t i = 0; i < tries; ++i) {
        messages.push_back(LIMIT_REACHED);
        messages.push_back(RETRYING);
    }
    return messages;
}

/// A server all of whose connections are lent out.
class SynSendWait : public ClientTest {
protected:
    SynSendWait() {
        PointAt(m_client, m_server);
        LentConnections::Allow(MANY_CONNECTIONS); // what is lent here goes with the pool
        for (unsigned int i = 0; i < Pool().GetConnPoolSize(); ++i) {
            m_lent.push_back(Pool().GetConn(m_server.address(), m_server.port(), false));
        }
    }

    static CHttpConnectionMgr& Pool() { return *CHttpConnectionMgr::Instance(); }
    void GiveOneBack() {
        Pool().ReleaseConn(m_lent.back());
        m_lent.pop_back();
    }
    int Send() { return m_client.synSendRequest(*m_request, m_response.get(), false); }

    /// Gives a connection back in the @p k-th sleep.
    HeldSleep::Hook GiveBackInSleep(std::size_t k) {
        return [this, k, slept = std::size_t{0}](const HeldSleep::Call& /*call*/) mutable {
            if (++slept == k) {
                GiveOneBack();
            }
        };
    }

    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClient m_client;
    std::vector<CHttpConnection*> m_lent;
    std::unique_ptr<CHttpRequest> m_request = MakeRequest(HTTPOPERATION_GET);
    UntouchedResponse m_response;
};

} // namespace

TEST_F(SynSendWait, GivesUpAfterAHundredTriesThreeSecondsApart) {
    std::vector<std::size_t> messagesAtSleep;
    const HeldSleep sleep([&](const HeldSleep::Call&) { messagesAtSleep.push_back(OwnMessages(5).size()); });
    EXPECT_EQ(Send(), -1);

    const auto calls = sleep.Calls();
    ASSERT_EQ(calls.size(), TRIES); // one after the last try, too
    for (const HeldSleep::Call& call : calls) {
        EXPECT_EQ(call.seconds, 3);
        EXPECT_EQ(call.nanoseconds, 0);
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }
    for (std::size_t i = 0; i < messagesAtSleep.size(); ++i) {
        EXPECT_EQ(messagesAtSleep[i], i + 1); // each try logs, then sleeps
    }
    Messages expected = FailedTries(TRIES);
    expected.push_back(GIVEN_UP);
    EXPECT_EQ(OwnMessages(0), expected);
    m_response.ExpectUntouched();
    EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
    EXPECT_EQ(m_server.connectionsAccepted(), 0U);
}

TEST_F(SynSendWait, IsSeenInTheNumbersOfThePool) {
    httpclient::Engine engine; // any: the pool is the process's
    const auto sum = [&](const char* name, const httpclient::EngineStatistics::Labels& having = {}) {
        return engine.statistics().sum(name, having);
    };
    const auto connections = [&](const char* state) {
        return sum("httpclient_pool_connections",
                   {{"scheme", "http"},
                    {"address", m_server.address() + ":" + std::to_string(m_server.port())},
                    {"state", state}});
    };
    const double before = sum("httpclient_pool_waits_total");
    std::vector<double> waiting;
    {
        const HeldSleep sleep([&, giveBack = GiveBackInSleep(2)](const HeldSleep::Call& call) mutable {
            waiting.push_back(sum("httpclient_pool_waiting"));
            giveBack(call);
        });
        EXPECT_EQ(connections("lent"), 100);
        EXPECT_EQ(Send(), 200);
    }
    EXPECT_EQ(waiting, (std::vector<double>{1, 1}));
    EXPECT_EQ(sum("httpclient_pool_waiting"), 0);
    EXPECT_EQ(sum("httpclient_pool_waits_total") - before, 1) << "a send counts once, however often it tries";
    EXPECT_EQ(connections("lent"), 99);
    EXPECT_EQ(connections("idle"), 1);
    EXPECT_EQ(Send(), 200);
    EXPECT_EQ(sum("httpclient_pool_waits_total") - before, 1) << "that one did not wait";
}

TEST_F(SynSendWait, WorksAgainOnceAConnectionIsBack) {
    {
        const HeldSleep sleep;
        EXPECT_EQ(Send(), -1);
    }
    GiveOneBack();
    const HeldSleep sleep;
    EXPECT_EQ(Send(), 200);
    EXPECT_TRUE(sleep.Calls().empty());
}

TEST_F(SynSendWait, TakesTheConnectionThatComesBackBetweenTwoTries) {
    for (const std::size_t k : {std::size_t{1}, std::size_t{2}, std::size_t{50}, TRIES - 1}) {
        const HeldSleep sleep(GiveBackInSleep(k));
        const std::size_t before = OwnMessages(3).size();
        EXPECT_EQ(Send(), 200);
        EXPECT_EQ(sleep.Calls().size(), k);
        const Messages messages = OwnMessages(3);
        EXPECT_EQ(Messages(messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end()),
                  FailedTries(k));
        m_lent.push_back(Pool().GetConn(m_server.address(), m_server.port(), false));
        ASSERT_NE(m_lent.back(), nullptr); // the send gave it back
    }
}

TEST_F(SynSendWait, ComesTooLateWithWhatComesBackAfterTheLastTry) {
    const HeldSleep sleep(GiveBackInSleep(TRIES));
    EXPECT_EQ(Send(), -1);
    EXPECT_EQ(sleep.Calls().size(), TRIES);
    EXPECT_EQ(OwnMessages(5).back(), GIVEN_UP);
}

TEST_F(SynSendWait, HappensAlsoWhenThereAreTooManyAddresses) {
    std::vector<CHttpConnection*> others;
    for (int i = 1; i < 30; ++i) {
        others.push_back(Pool().GetConn("host" + std::to_string(i), 80, false));
        ASSERT_NE(others.back(), nullptr);
    }
    CHttpClient client;
    client.setDomain("one-too-many");
    const HeldSleep sleep;
    EXPECT_EQ(client.synSendRequest(*m_request, m_response.get(), false), -1);
    EXPECT_EQ(sleep.Calls().size(), TRIES);
    Messages expected(TRIES, RETRYING); // this limit has no message of the pool's own
    expected.push_back(GIVEN_UP);
    EXPECT_EQ(OwnMessages(0), expected);
    m_response.ExpectUntouched();
}

TEST_F(SynSendWait, AsksLibcurlForNothing) {
    const HeldSleep sleep;
    const CurlRecorder recorder;
    EXPECT_EQ(Send(), -1);
    EXPECT_TRUE(recorder.Events().empty());
}

TEST_F(SynSendWait, PointsTheClientAtTheHandleThatItGot) {
    GiveOneBack();
    CHttpConnection* conn = ImpOf(m_client).GetHttpConnection(false);
    ASSERT_NE(conn, nullptr);
    EXPECT_EQ(ImpOf(m_client).m_curl, conn->GetCurl());
    EXPECT_FALSE(conn->IsIdle());
    ImpOf(m_client).m_curl = nullptr;
    Pool().ReleaseConn(conn);
}

TEST_F(SynSendWait, LeavesTheClientWithoutAHandleWhenItFails) {
    const HeldSleep sleep;
    EXPECT_EQ(ImpOf(m_client).GetHttpConnection(false), nullptr);
    EXPECT_EQ(ImpOf(m_client).m_curl, nullptr);
}
