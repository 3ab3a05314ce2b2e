// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/select.h>

#include <gtest/gtest.h>

#include "HeldLibrary.h"
#include "interpose/Clock.h"
#include "interpose/Select.h"
#include "interpose/Sleep.h"
#include "interpose/ThreadCreate.h"

namespace httpclient::testing {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr std::time_t NOON = 1000000000;

std::time_t SystemSeconds() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec;
}

TEST(FakeClock, IsRealUnlessHeld) {
    const std::time_t before = SystemSeconds();
    const std::time_t now = LibraryTime();
    EXPECT_LE(before, now);
    EXPECT_LE(now, SystemSeconds() + 1);
}

TEST(FakeClock, TellsALibraryTheTimeThatItIsTold) {
    {
        FakeClock clock(NOON);
        EXPECT_EQ(LibraryTime(), NOON);
        clock.Advance(29);
        EXPECT_EQ(LibraryTime(), NOON + 29);
        clock.Set(5);
        EXPECT_EQ(LibraryTime(), 5);
        EXPECT_EQ(clock.Now(), 5);
        std::time_t stored = 0;
        EXPECT_EQ(time(&stored), 5);
        EXPECT_EQ(stored, 5);
        EXPECT_GT(RealTime(), NOON);
    }
    EXPECT_GT(LibraryTime(), NOON);
}

TEST(HeldSleep, ReturnsAtOnceAndRemembers) {
    std::vector<long> seconds;
    const auto start = SteadyClock::now();
    {
        const HeldSleep held([&seconds](const HeldSleep::Call& call) { seconds.push_back(call.seconds); });
        LibrarySleep(3, 0);
        LibrarySleep(100, 7);
        const auto calls = held.Calls();
        ASSERT_EQ(calls.size(), 2U);
        EXPECT_EQ(calls[1].seconds, 100);
        EXPECT_EQ(calls[1].nanoseconds, 7);
        EXPECT_EQ(calls[1].thread, std::this_thread::get_id());
    }
    EXPECT_LT(SteadyClock::now() - start, 3s);
    EXPECT_EQ(seconds, (std::vector<long>{3, 100}));
}

TEST(HeldSleep, SleepsReallyUnlessHeld) {
    const auto start = SteadyClock::now();
    LibrarySleep(0, 30000000);
    EXPECT_GE(SteadyClock::now() - start, 30ms);
}

TEST(HeldSelect, RecordsAndWaitsAsUsualAtFirst) {
    const HeldSelect held;
    const auto start = SteadyClock::now();
    EXPECT_EQ(LibrarySelect(0, 30000), 0);
    EXPECT_GE(SteadyClock::now() - start, 30ms);
    const auto calls = held.Calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].nfds, 0);
    EXPECT_TRUE(calls[0].hasTimeout);
    EXPECT_EQ(calls[0].timeout.tv_sec, 0);
    EXPECT_EQ(calls[0].timeout.tv_usec, 30000);
}

TEST(HeldSelect, ShortensWaits) {
    HeldSelect held;
    const auto start = SteadyClock::now();
    held.Divide(0);
    EXPECT_EQ(LibrarySelect(5, 0), 0);
    held.Divide(100);
    EXPECT_EQ(LibrarySelect(3, 0), 0);
    EXPECT_GE(SteadyClock::now() - start, 30ms);
    EXPECT_LT(SteadyClock::now() - start, 3s);
    EXPECT_EQ(held.Calls().size(), 2U);
    EXPECT_EQ(held.Calls()[1].timeout.tv_sec, 3);
}

TEST(HeldSelect, FailsTheCallThatItIsTold) {
    HeldSelect held;
    held.Divide(0);
    LibrarySelect(1, 0);
    held.FailCall(2, EINTR);
    EXPECT_EQ(LibrarySelect(1, 0), 0);
    errno = 0;
    EXPECT_EQ(LibrarySelect(1, 0), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(LibrarySelect(1, 0), 0);
}

TEST(RefusedThread, RefusesTheOneThatItIsTold) {
    const auto start = [] { std::thread([] {}).join(); };
    {
        const RefusedThread refused(2);
        start();
        EXPECT_THROW(start(), std::system_error);
        start();
        EXPECT_EQ(refused.Asked(), 3U);
    }
    start();
}

TEST(RefusedThread, LeavesTheThreadsOfOthersAlone) {
    std::thread other([] {
        for (int i = 0; i < 100; ++i) {
            std::thread([] {}).join();
        }
    });
    {
        const RefusedThread refused;
        EXPECT_THROW(std::thread([] {}), std::system_error);
        EXPECT_EQ(refused.Asked(), 1U);
    }
    other.join();
}

} // namespace

} // namespace httpclient::testing
