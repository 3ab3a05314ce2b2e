// SPDX-License-Identifier: Apache-2.0
#include "client/ConnectionLoan.h"

#include <cerrno>
#include <ctime>
#include <optional>
#include <utility>

#include <httpclient/HttpConnectionMgr.h>

#include "support/Cancellation.h"
#include "support/PoolLevels.h"
#include "support/Trace.h"

namespace {

constexpr int MAX_TRIES = 100;
constexpr time_t RETRY_SECONDS = 3;

/// A signal does not shorten the wait.
void SleepBeforeRetry() {
    timespec wait{RETRY_SECONDS, 0};
    timespec rest{};
    while (nanosleep(&wait, &rest) == -1 && errno == EINTR) {
        wait = rest;
    }
}

} // namespace

CHttpConnection* WaitForConnection(const std::string& domain, int port, bool bSSL,
                                   LogMessage failureMessage) {
    std::optional<PoolWait> counted;
    for (int i = 0; i < MAX_TRIES; ++i) {
        CHttpConnection* conn =
            CHttpConnectionMgr::Instance()->GetConn(domain, static_cast<unsigned int>(port), bSSL);
        if (conn != nullptr) {
            return conn;
        }
        if (!counted) {
            counted.emplace();
        }
        Trace(failureMessage);
        SleepBeforeRetry();
    }
    return nullptr;
}

ConnectionReturn::~ConnectionReturn() {
    GiveBack();
}

void ConnectionReturn::GiveBack() {
    if (m_pConn == nullptr) {
        return;
    }
    const CancellationBlock block;
    // It fails when the pool was finalized meanwhile and cannot be made anew.
    static_cast<void>(Contained([&] { CHttpConnectionMgr::Instance()->ReleaseConn(m_pConn); }));
    m_pConn = nullptr;
}

CHttpConnection* ConnectionReturn::release() {
    return std::exchange(m_pConn, nullptr);
}
