// SPDX-License-Identifier: Apache-2.0
// The first program of new code: that it works, and says why when it does not.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "tests/Run.h"

TEST(Second, SendsAndPrintsTheAnswer) {
    const demo::DemoServer server;
    const examples::Ran ran =
        examples::Run(SECOND_PROGRAM " http://127.0.0.1:" + std::to_string(server.Port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_THAT(ran.output, testing::StartsWith("200\nPOST /echo\n"));
    EXPECT_THAT(ran.output, testing::HasSubstr("\nContent-Type: application/json\n"));
    EXPECT_THAT(ran.output, testing::EndsWith("\n\n{\"name\":\"value\"}\n"));
}

TEST(Second, SaysWhyThereIsNoAnswer) {
    const examples::Ran ran =
        examples::Run("env OVEX_TRACE_FILE=/dev/null " SECOND_PROGRAM " http://127.0.0.1:1 2>&1");
    EXPECT_EQ(ran.exitCode, 1);
    EXPECT_EQ(ran.output, "Connect in Connect: Connection refused\n");
}
