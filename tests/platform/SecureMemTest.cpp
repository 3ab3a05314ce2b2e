// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <ovexcommon/SecureMem.h>

TEST(SecureMem, FillsTheCountAndNothingMore) {
    std::string memory = "abcdef";
    EXPECT_EQ(memset_s(memory.data(), memory.size(), 'x', 3), 0);
    EXPECT_EQ(memory, "xxxdef");
}

TEST(SecureMem, FillsTheWholeDestination) {
    std::string memory = "abcdef";
    EXPECT_EQ(memset_s(memory.data(), memory.size(), 0, memory.size()), 0);
    EXPECT_EQ(memory, std::string(6, '\0'));
}

TEST(SecureMem, FillsNothingForTheCountZero) {
    std::string memory = "abcdef";
    EXPECT_EQ(memset_s(memory.data(), memory.size(), 0, 0), 0);
    EXPECT_EQ(memory, "abcdef");
}

TEST(SecureMem, RefusesACountThatDoesNotFitYetClearsTheDestination) {
    std::string memory = "abcdef";
    EXPECT_EQ(memset_s(memory.data(), 5, 'x', 6), EOVERFLOW);
    EXPECT_EQ(memory, "xxxxxf");
}

TEST(SecureMem, RefusesACountThatWasNegative) {
    std::string memory = "abcdef";
    EXPECT_EQ(memset_s(memory.data(), 5, 'x', SIZE_MAX), EOVERFLOW);
    EXPECT_EQ(memory, "xxxxxf");
}

TEST(SecureMem, RefusesASizeThatWasNegative) {
    std::string memory = "abcdef";
    EXPECT_EQ(memset_s(memory.data(), SIZE_MAX, 'x', 1), EINVAL);
    EXPECT_EQ(memset_s(memory.data(), (SIZE_MAX >> 1) + 1, 'x', 1), EINVAL);
    EXPECT_EQ(memory, "abcdef");
}

TEST(SecureMem, RefusesNull) {
    EXPECT_EQ(memset_s(nullptr, 0, 0, 0), EINVAL);
    EXPECT_EQ(memset_s(nullptr, 8, 0, 8), EINVAL);
}

TEST(SecureMem, TakesTheLowByteOfTheCharacter) {
    std::string memory = "abc";
    EXPECT_EQ(memset_s(memory.data(), memory.size(), 0x141, 2), 0);
    EXPECT_EQ(memory, "AAc");
}
