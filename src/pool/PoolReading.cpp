// SPDX-License-Identifier: Apache-2.0
#include "pool/PoolReading.h"

#include "pool/HttpConnection.h"
#include "pool/PoolGuard.h"
#include "support/Cancellation.h"
#include "support/Published.h"

void PoolReading::Add(const CHttpConnectionMgr::ConnMap& connections, bool tls,
                      std::vector<PooledAddress>& to) {
    for (const auto& [address, list] : connections) {
        PooledAddress entry{address, tls, 0, 0};
        for (const CHttpConnection* connection : *list) {
            ++(connection->IsIdle() ? entry.idle : entry.lent);
        }
        to.push_back(std::move(entry));
    }
}

std::vector<PooledAddress> PoolReading::Take() {
    std::vector<PooledAddress> result;
    const CancellationBlock block;
    // Not waited for: the pool's thread, which is joined under it, may be what asks.
    const ACE_Guard<ACE_Thread_Mutex> life(CHttpConnectionMgr::m_HttpConnectionMgr_Mutex, 0);
    if (life.locked() == 0) {
        return result;
    }
    CHttpConnectionMgr* const pool = LoadPublished(CHttpConnectionMgr::m_pInstance);
    if (pool == nullptr) {
        return result;
    }
    const PoolGuard guard(pool->m_PoolLock);
    if (guard.Holds()) { // it fails where this thread has it: the host's log, told under it, asks
        Add(pool->m_mapHttpConn, false, result);
        Add(pool->m_mapHttpsConn, true, result);
    }
    return result;
}
