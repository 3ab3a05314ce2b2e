// SPDX-License-Identifier: Apache-2.0
// The sweep: connections that nobody has used for a while are closed.
#include <httpclient/HttpConnectionMgr.h>

#include "engine/SharedEngine.h"
#include "pool/HttpConnection.h"
#include "pool/PoolGuard.h"
#include "pool/ReactorStay.h"
#include "support/ExitGate.h"
#include "support/Trace.h"

int CHttpConnectionMgr::handle_timeout(const ACE_Time_Value& /*now*/, const void* /*arg*/) {
    const ReactorStay::Pause pause;
    // The lock first: whoever holds it may call exit(), which waits for those who have passed the gate.
    const PoolGuard guard(m_PoolLock);
    const ExitGate::Try gate;
    if (!gate.Passed()) {
        return 0;
    }
    HandeConnPool(m_mapHttpConn);
    HandeConnPool(m_mapHttpsConn);
    return 0; // keeps the timer scheduled
}

void CHttpConnectionMgr::HandeConnPool(ConnMap& connPool) const {
    for (auto entry = connPool.begin(); entry != connPool.end();) {
        ConnList& list = *entry->second;
        for (auto conn = list.begin(); conn != list.end();) {
            const std::int64_t idleSeconds = (*conn)->GetFreeTimeDiff();
            if ((*conn)->IsIdle() && m_releasedtime <= idleSeconds) {
                delete *conn;
                conn = list.erase(conn);
            } else {
                ++conn;
            }
        }
        if (list.empty()) {
            delete entry->second;
            entry = connPool.erase(entry);
        } else {
            ++entry;
        }
    }
}

void CHttpConnectionMgr::SetRlsTime(std::int64_t seconds) {
    httpclient::engine::SetSharedIdleTime(seconds);
    const PoolGuard guard(m_PoolLock);
    m_releasedtime = seconds;
    Trace<LogMessage::PoolIdleTime>(m_releasedtime);
}
