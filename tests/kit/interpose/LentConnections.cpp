// SPDX-License-Identifier: Apache-2.0
#include "interpose/LentConnections.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include <httpclient/HttpConnectionMgr.h>

#include "interpose/Next.h"

namespace httpclient::testing {

namespace {

/// How long a worker may take to give its connection back.
constexpr std::chrono::milliseconds WORKERS_PATIENCE{2000};

std::atomic<long> g_lent{0};
std::atomic<long> g_allowed{0};

// A condition variable nobody notifies: unlike a sleep, it stays real when nanosleep() is held.
void Pause() {
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock<std::mutex> lock(mutex);
    never.wait_for(lock, std::chrono::milliseconds(2));
}

class LentListener : public ::testing::EmptyTestEventListener {
public:
    void OnTestStart(const ::testing::TestInfo& /*test*/) override {
        g_allowed = 0;
        m_before = g_lent;
    }
    void OnTestEnd(const ::testing::TestInfo& /*test*/) override {
        const auto deadline = std::chrono::steady_clock::now() + WORKERS_PATIENCE;
        while (g_lent - m_before > g_allowed && std::chrono::steady_clock::now() < deadline) {
            Pause();
        }
        EXPECT_LE(g_lent - m_before, g_allowed) << "the test leaves connections lent out";
    }

private:
    long m_before = 0;
};

[[maybe_unused]] const bool LISTENS = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new LentListener);
    return true;
}();

} // namespace

long LentConnections::Count() {
    return g_lent;
}

void LentConnections::Allow(long count) {
    g_allowed = count;
}

} // namespace httpclient::testing

// These stand before the library's own, for its calls among them.

CHttpConnection* CHttpConnectionMgr::GetConn(const std::string& domain, unsigned int port, bool bSSL) {
    using namespace httpclient::testing;
    static auto* const next =
        Next<CHttpConnection*(CHttpConnectionMgr*, const std::string&, unsigned int, bool)>(
            "_ZN18CHttpConnectionMgr7GetConnERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEjb");
    CHttpConnection* const lent = next(this, domain, port, bSSL);
    if (lent != nullptr) {
        ++g_lent;
    }
    return lent;
}

void CHttpConnectionMgr::ReleaseConn(CHttpConnection* conn) {
    using namespace httpclient::testing;
    static auto* const next = Next<void(CHttpConnectionMgr*, CHttpConnection*)>(
        "_ZN18CHttpConnectionMgr11ReleaseConnEP15CHttpConnection");
    next(this, conn);
    --g_lent;
}
