// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Pattern.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using httpclient::testing::Pattern;

TEST(Pattern, IsAllOfATextOrInIt) {
    const Pattern digits("[0-9]+");
    EXPECT_TRUE(digits.IsAllOf("12"));
    EXPECT_FALSE(digits.IsAllOf("a12"));
    EXPECT_TRUE(digits.IsIn("a12"));
    EXPECT_FALSE(digits.IsIn("a"));
}

TEST(Pattern, IgnoresCaseWhereItIsToldTo) {
    EXPECT_FALSE(Pattern("gbk").IsAllOf("GBK"));
    EXPECT_TRUE(Pattern("gbk", Pattern::Case::Ignored).IsAllOf("GBK"));
}

TEST(Pattern, ReplacesEachMatch) {
    EXPECT_EQ(Pattern("[0-9]+").Replaced("a 1 b 22", "T"), "a T b T");
}

TEST(Pattern, TellsTheGroupsOfEachMatch) {
    using Groups = std::vector<std::vector<std::string>>;
    EXPECT_EQ(Pattern("(\\w)=(\\d)?").AllIn("a=1, b="), (Groups{{"a=1", "a", "1"}, {"b=", "b", ""}}));
    EXPECT_EQ(Pattern("^a").AllIn("aa"), Groups{{"a"}}) << "the beginning is that of the text";
}

TEST(Pattern, WhichIsNoneIsRefused) {
    EXPECT_THROW(Pattern("("), std::runtime_error);
}
