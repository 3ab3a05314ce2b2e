// SPDX-License-Identifier: Apache-2.0
/// @file
/// For hosts that tests run: the pool used without a transfer.
#pragma once

#include <httpclient/HttpConnectionMgr.h>

/// Takes a connection and gives it back.
inline void UseThePool(bool tls) {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->ReleaseConn(pool->GetConn("127.0.0.1", 80, tls));
}

/// Uses all connections of an address up, which is logged.
inline void UseThePoolUp() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    while (pool->GetConn("127.0.0.1", 80, false) != nullptr) {
    }
}
