// SPDX-License-Identifier: Apache-2.0
// Lending, taking back, and the limits.
#include <ctime>
#include <memory>
#include <optional>
#include <utility>

#include <httpclient/HttpConnectionMgr.h>

#include "engine/SharedEngine.h"
#include "pool/HttpConnection.h"
#include "pool/HttpsConnection.h"
#include "pool/PoolGuard.h"
#include "support/Cancellation.h"
#include "support/ExitGate.h"
#include "support/Trace.h"

namespace {

/// The port is written as a signed number.
std::string AddressKey(const std::string& domain, unsigned int port) {
    return domain + ":" + std::to_string(static_cast<int>(port));
}

CHttpConnection* FirstIdle(const CHttpConnectionMgr::ConnList& list) {
    for (CHttpConnection* conn : list) {
        if (conn->IsIdle()) {
            return conn;
        }
    }
    return nullptr;
}

/// Makes a connection, lent out as it is made.
std::unique_ptr<CHttpConnection> Make(const std::string& domain, unsigned int port, bool bSSL) {
    if (bSSL) {
        return std::make_unique<CHttpsConnection>(domain, static_cast<int>(port));
    }
    return std::make_unique<CHttpConnection>(domain, static_cast<int>(port));
}

CHttpConnection* AppendNew(CHttpConnectionMgr::ConnList& list, const std::string& domain, unsigned int port,
                           bool bSSL) {
    std::unique_ptr<CHttpConnection> conn = Make(domain, port, bSSL);
    list.push_back(conn.get());
    return conn.release();
}

/// Lends an idle connection. One that libcurl could not make the handles of gets them now: as the oldest it
/// is the first to be lent, so that without them each send to its address would fail.
CHttpConnection* Lend(CHttpConnection& idle, const std::string& domain, unsigned int port, bool bSSL) {
    if (!idle.HasHandles()) {
        idle.TakeMissingHandles(*Make(domain, port, bSSL));
    }
    idle.SetIdle(false);
    idle.SetFreeTime(0);
    return &idle;
}

/// Raises a limit; limits never shrink. @return whether it was raised.
bool Raise(std::uint32_t& limit, unsigned int value) {
    if (value <= limit) {
        return false;
    }
    limit = value;
    return true;
}

} // namespace

CHttpConnectionMgr::ConnList* CHttpConnectionMgr::GetConnList(const std::string& addr, bool bSSL) {
    if (addr.empty()) {
        return nullptr;
    }
    const ConnMap& connPool = bSSL ? m_mapHttpsConn : m_mapHttpConn;
    const auto entry = connPool.find(addr);
    return entry == connPool.end() ? nullptr : entry->second;
}

CHttpConnection* CHttpConnectionMgr::GetConn(const std::string& domain, unsigned int port, bool bSSL) {
    if (domain.empty()) {
        Trace<LogMessage::PoolDomainEmpty>();
        return nullptr;
    }
    const CancellationBlock
        block; // a connection is made whole: files are read, the platform's cipher is called
    const std::string addr = AddressKey(domain, port);
    std::optional<PoolGuard> guard(std::in_place, m_PoolLock);
    // The cipher may use OpenSSL. After the lock, as for a sweep: whoever holds that may call exit().
    const ExitGate::CallbackTry gate;
    if (!gate.Passed()) {
        guard.reset(); // a late Finalize() may want it
        const ExitGate::Pass stay;
    }

    ConnList* list = GetConnList(addr, bSSL);
    if (list == nullptr) {
        return GetConnOfNewAddress(addr, domain, port, bSSL);
    }
    if (CHttpConnection* idle = FirstIdle(*list)) {
        return Lend(*idle, domain, port, bSSL);
    }
    if (list->size() >= m_MaxConnNum) {
        // Through an int: the text's %d is fixed.
        Trace<LogMessage::PoolAddressUsedUp>(static_cast<int>(m_MaxConnNum));
        return nullptr;
    }
    return AppendNew(*list, domain, port, bSSL);
}

CHttpConnection* CHttpConnectionMgr::GetConnOfNewAddress(const std::string& addr, const std::string& domain,
                                                         unsigned int port, bool bSSL) {
    ConnMap& connPool = bSSL ? m_mapHttpsConn : m_mapHttpConn;
    // Deliberately without a message, unlike the limit per address.
    if (connPool.size() >= m_MaxConnCategory) {
        return nullptr;
    }
    auto list = std::make_unique<ConnList>();
    std::unique_ptr<CHttpConnection> conn(AppendNew(*list, domain, port, bSSL));
    connPool.emplace(addr, list.get());
    static_cast<void>(list.release()); // the map's from here on, as is the connection in it
    return conn.release();
}

void CHttpConnectionMgr::ReleaseConn(CHttpConnection* conn) {
    const PoolGuard guard(m_PoolLock);
    conn->SetIdle(true);
    conn->SetFreeTime(static_cast<std::int64_t>(time(nullptr)));
}

void CHttpConnectionMgr::SetMaxConnPerAddr(unsigned int maxConnNum) {
    httpclient::engine::RaiseSharedLimit(maxConnNum);
    const PoolGuard guard(m_PoolLock);
    if (Raise(m_MaxConnNum, maxConnNum)) {
        Trace<LogMessage::PoolConnectionLimit>(m_MaxConnNum);
    }
}

void CHttpConnectionMgr::SetMaxConnAddr(unsigned int maxConnCategory) {
    const PoolGuard guard(m_PoolLock);
    if (Raise(m_MaxConnCategory, maxConnCategory)) {
        Trace<LogMessage::PoolAddressLimit>(m_MaxConnCategory);
    }
}

void CHttpConnectionMgr::ResizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory) {
    httpclient::engine::RaiseSharedLimit(maxConnNum);
    const PoolGuard guard(m_PoolLock);
    Raise(m_MaxConnNum, maxConnNum);
    Raise(m_MaxConnCategory, maxConnCategory);
    Trace<LogMessage::PoolResized>(m_MaxConnNum, m_MaxConnCategory);
}

unsigned int CHttpConnectionMgr::GetConnPoolSize() {
    const PoolGuard guard(m_PoolLock);
    return m_MaxConnNum;
}

unsigned int CHttpConnectionMgr::GetConnAddrSize() {
    const PoolGuard guard(m_PoolLock);
    return m_MaxConnCategory;
}
