// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "HeldLibrary.h"
#include "interpose/Allocations.h"

namespace httpclient::testing {

namespace {

struct alignas(256) Wide {
    char bytes[256];
};

TEST(CountedNew, CountsWhatALibraryAllocates) {
    const CountedNew counted;
    const bool first = LibraryNew();
    const bool second = LibraryNew();
    const std::size_t count = counted.Count();
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
    EXPECT_EQ(count, 2U);
}

TEST(CountedNew, FailsTheAllocationThatItIsTold) {
    bool first = false;
    bool second = true;
    bool third = false;
    {
        const CountedNew counted(2);
        first = LibraryNew();
        second = LibraryNew();
        third = LibraryNew();
    }
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_TRUE(third);
}

TEST(CountedNew, FailsAllThatComeAfterTheOneThatItIsTold) {
    bool first = false;
    bool second = true;
    bool third = true;
    {
        const CountedNew counted(2, Failing::AllFrom);
        first = LibraryNew();
        second = LibraryNew();
        third = LibraryNew();
    }
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_FALSE(third);
    EXPECT_TRUE(LibraryNew());
}

TEST(CountedNew, FailsNothingWhenItIsToldNone) {
    bool there = false;
    {
        const CountedNew counted(0, Failing::AllFrom);
        there = LibraryNew();
    }
    EXPECT_TRUE(there);
}

TEST(CountedNew, TellsWhetherItHoldsAnything) {
    const CountedNew counted(2);
    const bool works = CountedNew::Works();
    const std::size_t count = counted.Count();
    EXPECT_TRUE(works);
    EXPECT_EQ(count, 0U) << "asking does not count";
}

TEST(AllocationsOf, AreThoseOfTheOperation) {
    EXPECT_EQ(AllocationsOf([] {}), 0U);
    EXPECT_EQ(AllocationsOf([] { LibraryNew(); }), 1U);
}

TEST(SurvivesFailureOf, TellsWhetherTheFailureEndsTheOperation) {
    std::unique_ptr<int> first; // out here, or a compiler may leave the allocations out
    std::unique_ptr<int> second;
    const auto twice = [&] {
        first = std::make_unique<int>(1);
        second = std::make_unique<int>(2);
    };
    EXPECT_FALSE(SurvivesFailureOf(1, twice));
    EXPECT_EQ(first, nullptr);
    EXPECT_FALSE(SurvivesFailureOf(2, twice));
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_TRUE(SurvivesFailureOf(3, twice));
    EXPECT_NE(second, nullptr);
    EXPECT_TRUE(SurvivesFailureOf(1, [] { LibraryNew(); })) << "it takes the failure itself";
}

TEST(CountedNew, LeavesOtherThreadsAlone) {
    bool there = false;
    std::size_t count = 0;
    std::thread other;
    {
        const CountedNew counted(2); // the first is the new thread's state
        other = std::thread([&there] { there = LibraryNew(); });
        other.join();
        count = counted.Count();
    }
    EXPECT_TRUE(there);
    EXPECT_EQ(count, 1U);
}

TEST(CountedNew, CountsNothingOnceItIsGone) {
    const std::size_t before = CountedNew().Count();
    EXPECT_TRUE(LibraryNew());
    EXPECT_EQ(before, 0U);
}

TEST(CountedNew, ServesEveryFormOfNew) {
    const auto wide = std::make_unique<Wide>();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide.get()) % alignof(Wide), 0U);
    const auto array = std::make_unique<std::string[]>(3);
    EXPECT_EQ(array[2], "");
    const CountedNew counted(1);
    const std::unique_ptr<char> none(new (std::nothrow) char);
    EXPECT_EQ(none, nullptr);
}

} // namespace

} // namespace httpclient::testing
