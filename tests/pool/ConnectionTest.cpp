// SPDX-License-Identifier: Apache-2.0
// One connection: its two handles, and what the pool notes about it.
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>

#include "interpose/Clock.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"
#include "pool/HttpsConnection.h"

using namespace httpclient::testing;

namespace {

using Calls = std::vector<CurlCall>;

Calls CallsOf(const CurlRecorder& recorder) {
    Calls calls;
    for (const CurlEvent& event : recorder.Events()) {
        calls.push_back(event.call);
    }
    return calls;
}

TEST(Connection, MakesTheEasyHandleThenTheMultiHandleAndSetsNoOption) {
    const CurlRecorder recorder;
    const CHttpConnection conn("host.example", 8080);

    EXPECT_EQ(CallsOf(recorder), (Calls{CurlCall::EasyInit, CurlCall::MultiInit}));
    EXPECT_NE(conn.GetCurl(), nullptr);
    EXPECT_NE(conn.GetCurlM(), nullptr);
    EXPECT_EQ(recorder.Events()[0].handle, conn.GetCurl());
    EXPECT_EQ(recorder.Events()[1].handle, conn.GetCurlM());
}

TEST(Connection, ClosesTheEasyHandleBeforeTheMultiHandle) {
    auto conn = std::make_unique<CHttpConnection>("host.example", 8080);
    const void* easy = conn->GetCurl();
    const void* multi = conn->GetCurlM();
    const CurlRecorder recorder;
    conn.reset();

    EXPECT_EQ(CallsOf(recorder), (Calls{CurlCall::EasyCleanup, CurlCall::MultiCleanup}));
    EXPECT_EQ(recorder.Events()[0].handle, easy);
    EXPECT_EQ(recorder.Events()[1].handle, multi);
}

TEST(Connection, StartsNotIdleAndWithoutAFreeTime) {
    const CHttpConnection conn("host.example", 8080);
    EXPECT_FALSE(conn.IsIdle());
    EXPECT_EQ(conn.GetFreeTime(), 0);
}

TEST(Connection, KeepsTheAddressAndThePortOfItsConstruction) {
    const CHttpConnection conn("host.example", 8080);
    EXPECT_EQ(conn.m_strAddress, "host.example");
    EXPECT_EQ(conn.m_nPort, 8080);
    const CHttpConnection odd("", -1);
    EXPECT_EQ(odd.m_strAddress, "");
    EXPECT_EQ(odd.m_nPort, -1);
}

TEST(Connection, AnswersWhatWasSet) {
    CHttpConnection conn("host.example", 8080);
    CURL* const easy = conn.GetCurl();
    CURLM* const multi = conn.GetCurlM();
    for (const bool idle : {true, false, true}) {
        conn.SetIdle(idle);
        EXPECT_EQ(conn.IsIdle(), idle);
    }
    for (const std::int64_t time : {std::int64_t{1}, std::numeric_limits<std::int64_t>::max(),
                                    std::numeric_limits<std::int64_t>::min()}) {
        conn.SetFreeTime(time);
        EXPECT_EQ(conn.GetFreeTime(), time);
    }
    EXPECT_EQ(conn.GetCurl(), easy);
    EXPECT_EQ(conn.GetCurlM(), multi);
}

TEST(Connection, KeepsANullEasyHandleAndClosesTheMultiHandleAlone) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    auto conn = std::make_unique<CHttpConnection>("host.example", 80);
    EXPECT_EQ(conn->GetCurl(), nullptr);
    EXPECT_NE(conn->GetCurlM(), nullptr);

    recorder.Clear();
    conn.reset();
    EXPECT_EQ(CallsOf(recorder), Calls{CurlCall::MultiCleanup});
}

TEST(Connection, KeepsANullMultiHandleAndClosesTheEasyHandleAlone) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::MultiInit);
    auto conn = std::make_unique<CHttpConnection>("host.example", 80);
    EXPECT_NE(conn->GetCurl(), nullptr);
    EXPECT_EQ(conn->GetCurlM(), nullptr);

    recorder.Clear();
    conn.reset();
    EXPECT_EQ(CallsOf(recorder), Calls{CurlCall::EasyCleanup});
}

TEST(Connection, WithoutAnyHandleClosesNothing) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    recorder.Force(CurlCall::MultiInit);
    auto conn = std::make_unique<CHttpConnection>("host.example", 80);

    recorder.Clear();
    conn.reset();
    EXPECT_EQ(CallsOf(recorder), Calls{});
}

TEST(Connection, TellsTheSecondsSinceItsFreeTime) {
    FakeClock clock(1'700'000'000);
    CHttpConnection conn("host.example", 80);
    EXPECT_EQ(conn.GetFreeTimeDiff(), 1'700'000'000) << "a free time of 0 is the epoch";

    conn.SetFreeTime(clock.Now());
    EXPECT_EQ(conn.GetFreeTimeDiff(), 0);
    clock.Advance(29);
    EXPECT_EQ(conn.GetFreeTimeDiff(), 29);
    clock.Advance(-31);
    EXPECT_EQ(conn.GetFreeTimeDiff(), -2) << "the clock was set back";
    clock.Set(std::time_t{1} << 40);
    EXPECT_EQ(conn.GetFreeTimeDiff(), (std::int64_t{1} << 40) - 1'700'000'000) << "64 bits wide";
}

TEST(Connection, OfTlsIsClosedThroughItsBase) {
    const TemporaryDirectory noFiles;
    const ScopedEnvironment root("SSL_ROOT", noFiles.path().string());
    std::unique_ptr<CHttpConnection> conn = std::make_unique<CHttpsConnection>("host.example", 443);
    const void* easy = conn->GetCurl();
    const void* multi = conn->GetCurlM();
    const CurlRecorder recorder;
    conn.reset();

    EXPECT_EQ(CallsOf(recorder), (Calls{CurlCall::EasyCleanup, CurlCall::MultiCleanup}));
    EXPECT_EQ(recorder.Events()[0].handle, easy);
    EXPECT_EQ(recorder.Events()[1].handle, multi);
}

} // namespace
