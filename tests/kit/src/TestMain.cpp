// SPDX-License-Identifier: Apache-2.0
// The main function of test executables: nothing goes through a proxy, and nothing may be left behind.
#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/ResourceListener.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    httpclient::testing::ClearProxyEnvironment();
    ::testing::UnitTest::GetInstance()->listeners().Append(new httpclient::testing::ResourceListener);
    return RUN_ALL_TESTS();
}
