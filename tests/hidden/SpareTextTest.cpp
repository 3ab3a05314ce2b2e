// SPDX-License-Identifier: Apache-2.0
#include "support/SpareText.h"

#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t KIBIBYTE = 1024;

class SpareTextTest : public testing::Test {
protected:
    ~SpareTextTest() override { delete m_place.exchange(nullptr); }

    /// Uses a text of so many bytes. @return where its bytes were.
    const char* Use(std::size_t bytes) {
        const SpareText text(m_place);
        (*text).assign(bytes, 'x');
        return (*text).data();
    }

    SparePlace m_place{nullptr};
};

TEST_F(SpareTextTest, BeginsEmpty) {
    Use(100);
    const SpareText text(m_place);
    EXPECT_EQ(*text, "");
}

TEST_F(SpareTextTest, IsInTheMemoryOfTheLastOne) {
    const char* first = Use(100);
    EXPECT_EQ(Use(100), first);
    EXPECT_EQ(Use(50), first);
}

TEST_F(SpareTextTest, IsOnesOwnWhileTheMemoryIsInUse) {
    const SpareText one(m_place);
    const SpareText other(m_place);
    *one = "one";
    *other = "other";
    EXPECT_EQ(*one, "one");
    EXPECT_EQ(*other, "other");
}

TEST_F(SpareTextTest, OfWhichTheLastStaysWhereSeveralWere) {
    {
        const SpareText one(m_place);
        const SpareText other(m_place);
    }
    EXPECT_NE(m_place.load(), nullptr); // the leak check finds the other one, should it not be destroyed
}

TEST_F(SpareTextTest, KeepsUpTo64Kibibytes) {
    Use(64 * KIBIBYTE);
    EXPECT_NE(m_place.load(), nullptr);
}

TEST_F(SpareTextTest, KeepsNothingLonger) {
    Use(64 * KIBIBYTE + 1);
    EXPECT_EQ(m_place.load(), nullptr);
}

TEST_F(SpareTextTest, IsSafeAmongThreads) {
    const auto use = [this](char mark) {
        bool own = true;
        for (int i = 0; i < 10'000; ++i) {
            const SpareText text(m_place);
            (*text).assign(100, mark);
            own = own && *text == std::string(100, mark);
        }
        return own;
    };
    std::vector<std::future<bool>> threads;
    for (const char mark : {'a', 'b', 'c', 'd'}) {
        threads.push_back(std::async(std::launch::async, use, mark));
    }
    for (auto& thread : threads) {
        EXPECT_TRUE(thread.get());
    }
}

} // namespace
