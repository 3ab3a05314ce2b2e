// SPDX-License-Identifier: Apache-2.0
/// @file
/// Pools of many connections.
#pragma once

#include <cstdint>
#include <string>

class CHttpConnectionMgr;

/// Addresses that a pool takes, and more connections of each than any benchmark needs.
constexpr int ADDRESSES = 30;
constexpr unsigned int MOST_PER_ADDRESS = 300;

/// A new pool with room, and without sweeps that would close what is idle.
CHttpConnectionMgr* NewPool();

/// Leaves so many connections of an address in the pool, of which none has been used.
void MakeConnections(const std::string& host, int port, int64_t count);

/// Sends a request over each of so many connections of an address: what the pool holds is lent out meanwhile,
/// so that each request has a new one.
/// @return whether all were answered.
bool ConnectEach(const std::string& host, int port, bool tls, int64_t count);
