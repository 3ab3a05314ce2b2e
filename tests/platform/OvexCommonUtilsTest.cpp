// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include <gtest/gtest.h>

#include <ovexcommon/OvexCommonUtils.h>

TEST(OvexCommonUtils, AnswersTheValueOfAVariable) {
    setenv("PLATFORM_TEST_VARIABLE", " a value=with signs ", 1);
    EXPECT_EQ(OvexCommonUtils::Ovexgetenv("PLATFORM_TEST_VARIABLE"), " a value=with signs ");
}

TEST(OvexCommonUtils, AnswersEmptyForAnUnsetVariable) {
    unsetenv("PLATFORM_TEST_VARIABLE");
    EXPECT_EQ(OvexCommonUtils::Ovexgetenv("PLATFORM_TEST_VARIABLE"), "");
}

TEST(OvexCommonUtils, AnswersEmptyForTheEmptyName) {
    EXPECT_EQ(OvexCommonUtils::Ovexgetenv(""), "");
}

TEST(OvexCommonUtils, SeesAChangeAtTheNextCall) {
    setenv("PLATFORM_TEST_VARIABLE", "old", 1);
    EXPECT_EQ(OvexCommonUtils::Ovexgetenv("PLATFORM_TEST_VARIABLE"), "old");
    setenv("PLATFORM_TEST_VARIABLE", "new", 1);
    EXPECT_EQ(OvexCommonUtils::Ovexgetenv("PLATFORM_TEST_VARIABLE"), "new");
}
