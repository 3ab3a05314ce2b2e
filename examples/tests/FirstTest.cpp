// SPDX-License-Identifier: Apache-2.0
// The first program: that it works, and that the README shows it as it is.
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "tests/Run.h"

namespace {

std::string TextOf(const std::string& fileName) {
    std::ifstream file(fileName);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace

TEST(First, SendsAndPrintsTheAnswer) {
    const demo::DemoServer server;
    const examples::Ran ran = examples::Run(FIRST_PROGRAM " " + std::to_string(server.Port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_THAT(ran.output, testing::StartsWith("200\nPOST /echo\n"));
    EXPECT_THAT(ran.output, testing::EndsWith("\n\n{\"name\":\"value\"}\n"));
}

TEST(First, IsInTheReadmeAsItIsBuilt) {
    const std::string source = TextOf(FIRST_SOURCE);
    const std::string program = source.substr(source.find('\n') + 1); // without the licence line
    ASSERT_FALSE(program.empty());
    EXPECT_THAT(TextOf(README), testing::HasSubstr("```cpp\n" + program + "```\n"));
}
