// SPDX-License-Identifier: Apache-2.0
#include "interpose/WatchedBlocks.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "HeldLibrary.h"

namespace httpclient::testing {

namespace {

constexpr const char* SECRET = "a secret that is long enough for the heap";
constexpr const char* OTHER = "another one of them, which is as long as that";

/// valgrind puts its own operator new and delete in the place of every other.
class WatchedBlocks : public ::testing::Test {
protected:
    void SetUp() override {
        const char* const preload = std::getenv("LD_PRELOAD");
        if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr) {
            GTEST_SKIP() << "valgrind holds the allocator";
        }
    }
};

using FreedBlocksTest = WatchedBlocks;
using LiveBlocksTest = WatchedBlocks;
using RefusedBlocksTest = WatchedBlocks;

} // namespace

TEST_F(FreedBlocksTest, TellHowManyThereWereOfWhateverThread) {
    const FreedBlocks freed{SECRET};
    LibraryNew();
    std::thread([] { LibraryNew(); }).join();
    EXPECT_GE(freed.Count(), 2);
    EXPECT_EQ(freed.Holding(), 0);
}

TEST_F(FreedBlocksTest, TellWhichHeldOneOfTheTexts) {
    const FreedBlocks freed{SECRET, OTHER};
    { const std::string leaking = std::string("before ") + SECRET; }
    const int first = freed.Holding();
    { const std::string leaking(OTHER); }
    EXPECT_GE(first, 1);
    EXPECT_EQ(freed.Holding(), first + 1);
}

TEST_F(FreedBlocksTest, TellOfTheBeginningOfATextToo) {
    const FreedBlocks freed{SECRET};
    { const std::string leaking = std::string(30, 'x') + std::string(SECRET, 16); }
    EXPECT_GE(freed.Holding(), 1);
}

TEST_F(FreedBlocksTest, TellOfATextThatWasOnlyCleared) {
    const FreedBlocks freed{SECRET};
    {
        std::string leaking(SECRET);
        leaking.clear();
    }
    EXPECT_EQ(freed.Holding(), 1);
}

TEST_F(FreedBlocksTest, SayNothingOfWhatWasWiped) {
    const FreedBlocks freed{SECRET};
    {
        std::string wiped(SECRET);
        wiped.assign(wiped.size(), '\0');
    }
    EXPECT_EQ(freed.Holding(), 0);
}

TEST_F(LiveBlocksTest, AreThoseThatHaveNotBeenGivenBack) {
    LiveBlocks live;
    auto kept = std::make_unique<std::string>(SECRET);
    { const std::string gone(SECRET); }
    live.Stop();
    const std::string later(SECRET);
    EXPECT_EQ(live.Count(), 2U) << "the object and its text";
    EXPECT_EQ(live.Holding(SECRET), 1U);
    EXPECT_EQ(live.Holding(OTHER), 0U);
    kept.reset();
    EXPECT_EQ(live.Count(), 0U);
}

TEST_F(RefusedBlocksTest, AreThoseOfTheSizeAndAboveWhileItLives) {
    {
        const RefusedBlocks refused(1000);
        EXPECT_THROW(::operator delete(::operator new(1001)), std::bad_alloc);
        EXPECT_THROW(::operator delete(::operator new(1000)), std::bad_alloc);
        ::operator delete(::operator new(999));
        std::thread([] { ::operator delete(::operator new(1000)); }).join();
    }
    ::operator delete(::operator new(1000));
}

TEST_F(LiveBlocksTest, AreThoseOfTheirThreadAlone) {
    std::unique_ptr<std::string> kept;
    std::thread other;
    LiveBlocks live;
    other = std::thread([&kept] { kept = std::make_unique<std::string>(SECRET); });
    other.join();
    EXPECT_EQ(live.Holding(SECRET), 0U);
}

} // namespace httpclient::testing
