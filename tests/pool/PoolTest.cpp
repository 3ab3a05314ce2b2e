// SPDX-License-Identifier: Apache-2.0
#include "PoolTest.h"

#include <chrono>
#include <filesystem>
#include <limits>
#include <thread>

#include <ace/Time_Value.h>

#include <httpclient/testing/Patience.h>
#include <httpclient/testing/RecordingTrace.h>

#include "pool/HttpConnection.h"

using httpclient::testing::TraceRecorder;

Messages TakeMessages() {
    Messages messages;
    for (const auto& message : TraceRecorder::Instance().Messages()) {
        EXPECT_EQ(message.module, 1) << message.body;
        if (message.body.find("CHttpsConnection") == message.body.npos) {
            messages.emplace_back(message.level, message.body);
        }
    }
    TraceRecorder::Instance().Clear();
    return messages;
}

std::vector<int> ThreadIds() {
    std::vector<int> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        ids.push_back(std::stoi(entry.path().filename().string()));
    }
    return ids;
}

bool WaitForThreads(std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + httpclient::testing::PATIENCE;
    while (ThreadIds().size() != count && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return ThreadIds().size() == count;
}

std::vector<CHttpConnection*> ConnectionsOf(CHttpConnectionMgr& pool, const std::string& addr, bool bSSL) {
    const CHttpConnectionMgr::ConnList* list = pool.GetConnList(addr, bSSL);
    if (list == nullptr) {
        return {};
    }
    return {list->begin(), list->end()};
}

std::vector<std::string> KeysOf(CHttpConnectionMgr& pool, bool bSSL) {
    std::vector<std::string> keys;
    for (const auto& entry : bSSL ? pool.m_mapHttpsConn : pool.m_mapHttpConn) {
        keys.push_back(entry.first);
    }
    return keys;
}

void Sweep(CHttpConnectionMgr& pool) {
    EXPECT_EQ(pool.handle_timeout(ACE_Time_Value::zero, nullptr), 0);
}

void CloseEverything() {
    if (CHttpConnectionMgr* pool = CHttpConnectionMgr::m_pInstance) {
        for (const auto* connections : {&pool->m_mapHttpConn, &pool->m_mapHttpsConn}) {
            for (const auto& entry : *connections) {
                for (CHttpConnection* conn : *entry.second) {
                    conn->SetIdle(true);
                }
            }
        }
        pool->SetRlsTime(std::numeric_limits<std::int64_t>::min());
        Sweep(*pool);
        CHttpConnectionMgr::Finalize();
    }
}

WithoutPool::WithoutPool() {
    TraceRecorder::Instance().SetLowestLevel(0);
    TraceRecorder::Instance().Clear();
}

WithoutPool::~WithoutPool() {
    CloseEverything();
}

PoolTest::PoolTest() : m_pool(*CHttpConnectionMgr::Instance()) {
    EXPECT_TRUE(TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in "));
    TraceRecorder::Instance().Clear();
}
