// SPDX-License-Identifier: Apache-2.0
#include "TortureTest.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <set>

#include <signal.h>
#include <unistd.h>

#include <ace/Guard_T.h>
#include <ace/Time_Value.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Patience.h>
#include <httpclient/testing/RecordingTrace.h>

#include "pool/HttpConnection.h"

using httpclient::testing::TraceRecorder;

namespace {

/// How many calls fail, unless all do.
std::size_t Draws() {
    const char* const given = std::getenv("TORTURE_DRAWS");
    return given != nullptr ? std::strtoul(given, nullptr, 10) : 25;
}

/// What is being done, for the report of a crash.
char g_doing[200] = "";

/// Says which failure it was that crashed the process, and lets it crash.
void ReportCrash(int signal) {
    std::size_t length = 0;
    while (length < sizeof g_doing && g_doing[length] != '\0') {
        ++length;
    }
    if (write(STDERR_FILENO, g_doing, length) < 0) {
        _exit(1);
    }
    ::signal(signal, SIG_DFL);
    raise(signal);
}

unsigned int Seed() {
    const char* const given = std::getenv("TORTURE_SEED");
    return given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                            : std::random_device{}();
}

/// Draws the calls that fail: one of each kind in turn, until there are enough.
std::set<std::size_t> Draw(const std::vector<Fault>& calls, unsigned int seed) {
    std::map<Fault, std::vector<std::size_t>> byKind;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        byKind[calls[i]].push_back(i + 1);
    }
    std::mt19937 random(seed);
    for (auto& [kind, numbers] : byKind) {
        std::shuffle(numbers.begin(), numbers.end(), random);
    }
    const std::size_t wanted = std::min(Draws(), calls.size());
    std::set<std::size_t> drawn;
    while (drawn.size() < wanted) {
        for (auto& [kind, numbers] : byKind) {
            if (numbers.empty() || drawn.size() == wanted) {
                continue;
            }
            drawn.insert(numbers.back());
            numbers.pop_back();
        }
    }
    return drawn;
}

std::set<std::size_t> Choose(const std::vector<Fault>& calls) {
    std::set<std::size_t> all;
    for (std::size_t i = 1; i <= calls.size(); ++i) {
        all.insert(i);
    }
    if (const char* const one = std::getenv("TORTURE_CALL")) {
        return {std::strtoul(one, nullptr, 10)};
    }
    if (std::getenv("TORTURE_ALL") != nullptr || calls.size() <= Draws()) {
        return all;
    }
    const unsigned int seed = Seed();
    std::printf("%zu of %zu calls fail; TORTURE_SEED=%u\n", Draws(), calls.size(), seed);
    return Draw(calls, seed);
}

std::string Summary(const std::vector<Fault>& calls) {
    std::map<Fault, std::size_t> counts;
    for (const Fault kind : calls) {
        ++counts[kind];
    }
    std::string text;
    for (const auto& [kind, count] : counts) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + NameOf(kind);
    }
    return text;
}

using AllConnections = std::array<const CHttpConnectionMgr::ConnMap*, 2>;

AllConnections ConnectionsOf(const CHttpConnectionMgr& pool) {
    return {&pool.m_mapHttpConn, &pool.m_mapHttpsConn};
}

bool AllAreBack() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(pool->m_PoolLock);
    for (const auto* connections : ConnectionsOf(*pool)) {
        for (const auto& [address, list] : *connections) {
            for (const CHttpConnection* conn : *list) {
                if (!conn->IsIdle()) {
                    return false;
                }
            }
        }
    }
    return true;
}

} // namespace

bool WaitUntilAllAreBack() {
    const auto giveUp = std::chrono::steady_clock::now() + httpclient::testing::PATIENCE;
    while (!AllAreBack()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        usleep(200);
    }
    return true;
}

void CloseEverything() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::m_pInstance;
    if (pool == nullptr) {
        return;
    }
    {
        const ACE_Write_Guard<ACE_RW_Thread_Mutex> guard(pool->m_PoolLock);
        for (const auto* connections : ConnectionsOf(*pool)) {
            for (const auto& entry : *connections) {
                for (CHttpConnection* conn : *entry.second) {
                    conn->SetIdle(true);
                }
            }
        }
    }
    pool->SetRlsTime(std::numeric_limits<std::int64_t>::min());
    pool->handle_timeout(ACE_Time_Value::zero, nullptr);
    CHttpConnectionMgr::Finalize();
}

TortureTest::TortureTest() {
    for (const int crash : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL}) {
        ::signal(crash, &ReportCrash);
    }
}

TortureTest::~TortureTest() {
    CloseEverything();
}

void TortureTest::Torture() {
    const std::vector<Fault> calls = Rehearse();
    std::printf("%zu fallible calls: %s\n", calls.size(), Summary(calls).c_str());
    std::fflush(stdout);
    for (const std::size_t failing : Choose(calls)) {
        const Fault kind = calls.at(failing - 1);
        std::snprintf(g_doing, sizeof g_doing, "crashed with call %zu failing (%s)\n", failing, NameOf(kind));
        SCOPED_TRACE("call " + std::to_string(failing) + " fails (" + NameOf(kind) + ")");
        RunWithFailing(failing);
        ExpectNextToWork();
        ExpectPoolInOrder();
        ExpectNoSecretLogged();
        CleanUp();
        ExpectAllFreed(failing, kind);
        if (HasFatalFailure()) {
            return;
        }
    }
}

std::vector<Fault> TortureTest::Rehearse() {
    std::vector<Fault> calls;
    for (int round = 0; round < 3; ++round) { // the first ones set up what lasts as long as the process
        Prepare();
        {
            const FaultPlan plan(0, m_memory);
            Run();
            Settle();
            calls = plan.Kinds();
        }
        ExpectOutcome();
        ExpectNextToWork();
        CleanUp();
    }
    RunWithFailing(0);
    CleanUp();
    m_kept = FaultPlan::LiveBlocks();
    if (CHttpClient().getTransferProfile() == HTTPTRANSFERPROFILE_COMPATIBLE) {
        EXPECT_EQ(m_kept, 0U);
    }
    EXPECT_GT(calls.size(), 0U);
    return calls;
}

void TortureTest::RunWithFailing(std::size_t failing) {
    Prepare();
    {
        const FaultPlan plan(failing, m_memory);
        Run();
        Settle();
    }
    ExpectOutcome();
}

void TortureTest::ExpectPoolInOrder() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    ASSERT_EQ(pool->m_PoolLock.tryacquire_write(), 0) << "the pool's lock is held";
    for (const auto* connections : ConnectionsOf(*pool)) {
        for (const auto& [address, list] : *connections) {
            EXPECT_EQ(list->size(), 1U) << address;
            for (const CHttpConnection* conn : *list) {
                EXPECT_TRUE(conn->IsIdle()) << address;
            }
        }
    }
    pool->m_PoolLock.release();
}

void TortureTest::ExpectNoSecretLogged() {
    for (const std::string& secret : m_secrets) {
        EXPECT_EQ(TraceRecorder::Instance().CountContaining(secret), 0U) << secret;
    }
}

// What is kept on purpose, once, is not kept a second time; a leak is.
void TortureTest::ExpectAllFreed(std::size_t failing, Fault kind) {
    constexpr int TRIES = 3;
    for (int i = 0; FaultPlan::LiveBlocks() > m_kept && i < TRIES; ++i) {
        RunWithFailing(failing);
        CleanUp();
    }
    // ACE loses some bytes with each thread that it cannot start.
    const std::size_t lost = kind == Fault::Thread ? FaultPlan::LiveBlocksOfAce() : 0;
    EXPECT_LE(FaultPlan::LiveBlocks(), m_kept + lost) << FaultPlan::DescribeLiveBlocks();
}

void TortureTest::CleanUp() {
    Discard();
    CloseEverything();
    TraceRecorder::Instance().Clear();
}
