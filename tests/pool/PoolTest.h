// SPDX-License-Identifier: Apache-2.0
/// @file
/// A pool of the test's own, in a time of the test's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Environment.h>

#include "HeldReactor.h"
#include "interpose/Clock.h"

constexpr int DETAIL = 2;
constexpr int PROGRESS = 3;
constexpr int ERROR = 5;

/// Level and text.
using Message = std::pair<int, std::string>;
using Messages = std::vector<Message>;

/// What was logged since the last call, without what TLS connections say about their files.
Messages TakeMessages();

/// The threads of this process.
std::vector<int> ThreadIds();
/// Waits until this process has that many threads: a thread that was joined may be listed a moment longer.
bool WaitForThreads(std::size_t count);

/// The connections of an address, oldest first; none for an unknown address.
std::vector<CHttpConnection*> ConnectionsOf(CHttpConnectionMgr& pool, const std::string& addr, bool bSSL);
/// The address keys of the plain or of the TLS connections.
std::vector<std::string> KeysOf(CHttpConnectionMgr& pool, bool bSSL);
/// Does what the timer does.
void Sweep(CHttpConnectionMgr& pool);
/// Closes every connection of the pool, lent or not, and the pool.
void CloseEverything();

/// Each test begins without a pool and ends so; time() and the reactor's clock stand still; no TLS
/// file is found.
class WithoutPool : public ::testing::Test {
protected:
    static constexpr std::time_t T = 1'700'000'000;

    WithoutPool();
    ~WithoutPool() override;

    httpclient::testing::TemporaryDirectory m_noTlsFiles;
    httpclient::testing::ScopedEnvironment m_sslRoot{"SSL_ROOT", m_noTlsFiles.path().string()};
    httpclient::testing::FakeClock m_clock{T};
    HeldReactor m_reactor;
};

/// Each test begins with a new pool whose thread runs, and with no message.
class PoolTest : public WithoutPool {
protected:
    PoolTest();

    CHttpConnection* Get(const std::string& domain, unsigned int port = 80, bool bSSL = false) {
        return m_pool.GetConn(domain, port, bSSL);
    }

    CHttpConnectionMgr& m_pool;
};
