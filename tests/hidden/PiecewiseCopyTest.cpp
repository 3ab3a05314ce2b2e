// SPDX-License-Identifier: Apache-2.0
#include "support/PiecewiseCopy.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "interpose/Allocations.h"

using httpclient::testing::CountedNew;

namespace {

// Around one piece, two, and many; a NUL among them.
constexpr std::size_t SIZES[] = {0, 1, 15, 2047, 2048, 2049, 4095, 4096, 4097, 100'000};

/// A text whose every piece differs from the next.
std::string TextOf(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += static_cast<char>(i * 7 / 3);
    }
    return text;
}

} // namespace

TEST(PiecewiseCopy, IsTheText) {
    for (const std::size_t size : SIZES) {
        EXPECT_EQ(CopyInPieces(TextOf(size)), TextOf(size)) << size;
    }
}

TEST(PiecewiseCopy, FollowsWhatIsThere) {
    for (const std::size_t size : SIZES) {
        const std::string added = TextOf(size);
        std::string text = "before";
        AppendInPieces(text, added.data(), added.size());
        EXPECT_EQ(text, "before" + added) << size;
    }
}

TEST(PiecewiseCopy, TakesItsMemoryAtOnce) {
    const std::string text = TextOf(100'000);
    const CountedNew counted;
    const std::string copy = CopyInPieces(text);
    EXPECT_EQ(counted.Count(), 1U);
    EXPECT_GE(copy.capacity(), text.size());
}

TEST(PiecewiseCopy, TakesNoMemoryWhereThereIsRoom) {
    const std::string added = TextOf(100'000);
    std::string text = "before";
    text.reserve(6 + added.size());
    const CountedNew counted;
    AppendInPieces(text, added.data(), added.size());
    EXPECT_EQ(counted.Count(), 0U);
}

TEST(PiecewiseCopy, LetsATextOfManyPartsGrowByDoubling) {
    const std::string part = TextOf(5000);
    std::string text;
    const CountedNew counted;
    for (int i = 0; i < 1000; ++i) {
        AppendInPieces(text, part.data(), part.size());
    }
    EXPECT_LE(counted.Count(), 11U); // 5,000 bytes doubled ten times are more than 5,000,000
    EXPECT_EQ(text.size(), 5'000'000U);
}

TEST(PiecewiseCopy, OfTooMuchIsALengthErrorAndLeavesTheText) {
    const char data = 'x';
    for (const std::size_t size : {std::string().max_size() - 5, std::string().max_size() + 1}) {
        std::string text = "before";
        EXPECT_THROW(AppendInPieces(text, &data, size), std::length_error) << size;
        EXPECT_EQ(text, "before");
    }
}

TEST(PiecewiseCopy, WithoutMemoryLeavesTheText) {
    const std::string added = TextOf(100'000);
    std::string text = "before";
    {
        const CountedNew failing(1);
        EXPECT_THROW(AppendInPieces(text, added.data(), added.size()), std::bad_alloc);
    }
    EXPECT_EQ(text, "before");
}
