// SPDX-License-Identifier: Apache-2.0
/// @file
/// How many connections are lent and idle.
#pragma once

#include <vector>

#include <httpclient/HttpConnectionMgr.h>

#include "support/PoolLevels.h"

/// Reads the pool of the process.
class PoolReading {
public:
    /// @return how each address stands; nothing while there is no pool, or while it is being made or ended.
    /// @throw std::bad_alloc
    static std::vector<PooledAddress> Take();

private:
    static void Add(const CHttpConnectionMgr::ConnMap& connections, bool tls, std::vector<PooledAddress>& to);
};
