// SPDX-License-Identifier: Apache-2.0
// The thread that looks after what waits.
#include "engine/Keeper.h"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <httpclient/testing/ResourceListener.h>

#include "interpose/ThreadCreate.h"
#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"

using namespace httpclient;
using namespace std::chrono_literals;
using engine::Keeper;
using httpclient::testing::RefusedThread;
using httpclient::testing::Resources;
using net::Clock;
using net::Time;

TEST(Keeper, HasNoThreadBeforeItIsNeeded) {
    const std::size_t before = Resources::Now().threads;
    Keeper keeper([](Time) { return Time::max(); });
    keeper.NeededAt(Time::max());
    EXPECT_EQ(Resources::Now().threads, before);
    keeper.NeededAt(Clock::now() + 1h);
    EXPECT_EQ(Resources::Now().threads, before + 1);
}

TEST(Keeper, CallsTheWorkWhenItIsNeededAndNotBefore) {
    Moment worked;
    Time calledAt;
    const Time wanted = Clock::now() + 20ms;
    Keeper keeper([&](Time now) {
        calledAt = now;
        worked.Come();
        return Time::max();
    });
    keeper.NeededAt(wanted);
    ASSERT_TRUE(worked.Wait());
    EXPECT_GE(calledAt, wanted);
}

TEST(Keeper, CallsTheWorkEarlierWhenItIsNeededEarlier) {
    Moment worked;
    Keeper keeper([&](Time) {
        worked.Come();
        return Time::max();
    });
    keeper.NeededAt(Clock::now() + 1h);
    keeper.NeededAt(Clock::now() + 2h);
    keeper.NeededAt(Clock::now() + 1ms);
    EXPECT_TRUE(worked.Wait());
}

TEST(Keeper, CallsTheWorkAgainWhenTheWorkSays) {
    Moment thrice;
    std::atomic<int> calls{0};
    Keeper keeper([&](Time now) {
        if (++calls == 3) {
            thrice.Come();
            return Time::max();
        }
        return now + 1ms;
    });
    keeper.NeededAt(Clock::now());
    EXPECT_TRUE(thrice.Wait());
    EXPECT_EQ(calls, 3);
}

TEST(Keeper, KeepsWhatIsNeededWhileTheWorkRuns) {
    Moment running;
    Moment noted;
    Moment again;
    std::atomic<int> calls{0};
    Keeper keeper([&](Time) {
        if (++calls == 1) {
            running.Come();
            noted.Wait();
        } else {
            again.Come();
        }
        return Time::max();
    });
    keeper.NeededAt(Clock::now());
    ASSERT_TRUE(running.Wait());
    keeper.NeededAt(Clock::now() + 1ms);
    noted.Come();
    EXPECT_TRUE(again.Wait());
}

TEST(Keeper, CallsWorkThatThrewOnceMore) {
    Moment again;
    std::atomic<int> calls{0};
    Keeper keeper([&](Time) -> Time {
        if (++calls == 1) {
            throw std::bad_alloc();
        }
        again.Come();
        return Time::max();
    });
    keeper.NeededAt(Clock::now());
    EXPECT_TRUE(again.Wait());
}

TEST(Keeper, WaitsForRunningWorkWhenItStops) {
    Moment running;
    std::atomic<bool> done{false};
    Keeper keeper([&](Time) {
        running.Come();
        std::this_thread::sleep_for(20ms);
        done = true;
        return Time::max();
    });
    keeper.NeededAt(Clock::now());
    ASSERT_TRUE(running.Wait());
    keeper.Stop();
    EXPECT_TRUE(done);
}

TEST(Keeper, StartsNoThreadOnceItHasStopped) {
    const std::size_t before = Resources::Now().threads;
    Keeper keeper([](Time) { return Time::max(); });
    keeper.Stop();
    keeper.NeededAt(Clock::now());
    EXPECT_EQ(Resources::Now().threads, before);
    keeper.Stop();
}

TEST(Keeper, TriesAgainWhenItsThreadCannotBeStarted) {
    Moment worked;
    Keeper keeper([&](Time) {
        worked.Come();
        return Time::max();
    });
    {
        const RefusedThread refused;
        keeper.NeededAt(Clock::now());
        EXPECT_EQ(refused.Asked(), 1U);
    }
    EXPECT_FALSE(worked.HasCome());
    keeper.NeededAt(Clock::now());
    EXPECT_TRUE(worked.Wait());
}

TEST(Keeper, MayBeStoppedByItsOwnWork) {
    const std::size_t before = Resources::Now().threads;
    Moment stopped;
    Keeper* own = nullptr;
    Keeper keeper([&](Time) {
        own->Stop();
        stopped.Come();
        return Time::max();
    });
    own = &keeper;
    keeper.NeededAt(Clock::now());
    EXPECT_TRUE(stopped.Wait());
    EXPECT_TRUE(Becomes([&] { return Resources::Now().threads == before; })) << "its thread ends by itself";
}
