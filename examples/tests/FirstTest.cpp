// SPDX-License-Identifier: Apache-2.0
// The first program with CHttpClient: that it works.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "tests/Run.h"

TEST(First, SendsAndPrintsTheAnswer) {
    const demo::DemoServer server;
    const examples::Ran ran = examples::Run(FIRST_PROGRAM " " + std::to_string(server.Port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_THAT(ran.output, testing::StartsWith("200\nPOST /echo\n"));
    EXPECT_THAT(ran.output, testing::EndsWith("\n\n{\"name\":\"value\"}\n"));
}
