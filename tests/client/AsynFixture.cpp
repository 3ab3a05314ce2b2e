// SPDX-License-Identifier: Apache-2.0
#include "AsynFixture.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include <pthread.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Patience.h>
#include <httpclient/testing/ResourceListener.h>

#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

std::mutex g_mutex;
std::condition_variable g_changed;
std::vector<Outcome> g_outcomes;

bool AllAreBack() {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(pool->m_PoolLock);
    for (const auto& [address, list] : pool->m_mapHttpsConn) {
        for (const CHttpConnection* conn : *list) {
            if (!conn->IsIdle()) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

void Outcomes::Callback(const CHttpResponse& response) {
    Outcome outcome{response.getStatusCode(),
                    response.getResponseBody(),
                    response.getResponseHead(),
                    response.getContentType(),
                    response.getContentLen(),
                    std::this_thread::get_id(),
                    {}};
    pthread_sigmask(SIG_SETMASK, nullptr, &outcome.blockedSignals);
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_outcomes.push_back(std::move(outcome));
    g_changed.notify_all();
}

void Outcomes::Clear() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_outcomes.clear();
}

std::vector<Outcome> Outcomes::All() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_outcomes;
}

bool Outcomes::WaitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(g_mutex);
    return g_changed.wait_for(lock, PATIENCE, [count] { return g_outcomes.size() >= count; });
}

bool WaitUntilAllAreBack() {
    const auto giveUp = std::chrono::steady_clock::now() + PATIENCE;
    while (!AllAreBack()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

AsynTest::AsynTest() {
    Outcomes::Clear();
    m_select.Divide(100);
    // The pool never closes its TLS connections when it ends, so their descriptors stay.
    ResourceListener::Allow(16, 0);
}

AsynTest::~AsynTest() {
    EXPECT_TRUE(WaitUntilAllAreBack());
}

Outcome AsynTest::Send(CHttpClient& client, const CHttpRequest& request, bool bSSL) {
    const std::size_t before = Outcomes::All().size();
    client.asynSendRequest(request, &Outcomes::Callback, bSSL);
    EXPECT_TRUE(Outcomes::WaitFor(before + 1));
    EXPECT_TRUE(WaitUntilAllAreBack());
    const auto outcomes = Outcomes::All();
    EXPECT_EQ(outcomes.size(), before + 1);
    return outcomes.size() > before ? outcomes[before] : Outcome{};
}
