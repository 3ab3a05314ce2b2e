// SPDX-License-Identifier: Apache-2.0
#include "Pools.h"

#include <vector>

#include <httpclient/HttpConnectionMgr.h>

#include "LibraryGet.h"

namespace {

/// Connections that are lent out until it goes.
class Lent {
public:
    ~Lent() {
        for (CHttpConnection* conn : m_connections) {
            CHttpConnectionMgr::Instance()->ReleaseConn(conn);
        }
    }
    void Borrow(const std::string& host, int port, bool tls) {
        if (CHttpConnection* conn =
                CHttpConnectionMgr::Instance()->GetConn(host, static_cast<unsigned int>(port), tls)) {
            m_connections.push_back(conn);
        }
    }

private:
    std::vector<CHttpConnection*> m_connections;
};

} // namespace

CHttpConnectionMgr* NewPool() {
    CHttpConnectionMgr::Finalize();
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(3600);
    pool->ResizeConnPool(MOST_PER_ADDRESS, ADDRESSES);
    return pool;
}

void MakeConnections(const std::string& host, int port, int64_t count) {
    Lent lent;
    for (int64_t i = 0; i < count; ++i) {
        lent.Borrow(host, port, false);
    }
}

bool ConnectEach(const std::string& host, int port, bool tls, int64_t count) {
    LibraryGet get(host, port, tls);
    Lent lent;
    for (int64_t i = 0; i < count; ++i) {
        if (!get.Send()) {
            return false;
        }
        lent.Borrow(host, port, tls);
    }
    return true;
}
