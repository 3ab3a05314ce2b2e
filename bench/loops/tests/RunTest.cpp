// SPDX-License-Identifier: Apache-2.0
// The program as it is called, for a blink.
#include <cstdlib>
#include <fstream>

#include <sys/wait.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <httpclient/testing/Environment.h>

#include "Crowd.h"

namespace {

using httpclient::testing::TemporaryDirectory;

/// @return the exit code.
int ExitCode(const std::string& options) {
    const int status = std::system((std::string(LOOPS_PROGRAM) + " " + options + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Run, HasTheFiguresOfEachPeer) {
    const TemporaryDirectory directory;
    const std::string base = directory.path() / "loops";
    ASSERT_EQ(ExitCode("--work burst-100 --work cancel-1 --rounds 1 --json " + base + ".json --table " +
                       base + ".md"),
              0);
    Json::Value all;
    std::ifstream(base + ".json") >> all;
    std::size_t bursts = 0;
    std::size_t cancellings = 0;
    std::size_t goals = 0;
    for (const Json::Value& one : all) {
        EXPECT_GT(one["in_flight"].asInt(), 0);
        bursts += one.isMember("whole_ms") && one["errors"] == 0 ? 1 : 0;
        cancellings += one.isMember("p99_us") ? 1 : 0;
        goals += one.isMember("goal_of") ? 1 : 0;
    }
    EXPECT_EQ(bursts, AllCrowds().size());
    EXPECT_EQ(cancellings, 1U);
    EXPECT_EQ(goals, 4U);
    EXPECT_GT(std::ifstream(base + ".md").peek(), 0);
}

TEST(Run, RefusesWorksAndPeersThatThereAreNot) {
    EXPECT_NE(ExitCode("--work none"), 0);
    EXPECT_NE(ExitCode("--peer none"), 0);
    EXPECT_NE(ExitCode("--rounds 0"), 0);
}

TEST(Run, FailsWhenAFileCannotBeWritten) {
    const TemporaryDirectory directory;
    const std::string nowhere = directory.path() / "none" / "file";
    EXPECT_NE(ExitCode("--work burst-100 --peer 'bare epoll loop' --rounds 1 --json " + nowhere), 0);
}

} // namespace
