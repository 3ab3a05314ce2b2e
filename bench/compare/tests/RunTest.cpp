// SPDX-License-Identifier: Apache-2.0
// The program as it is called, for a blink: every work, every peer.
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <sys/wait.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <httpclient/testing/Environment.h>

#include "Contest.h"

namespace {

using httpclient::testing::TemporaryDirectory;

/// @return the exit code.
int ExitCode(const std::string& options) {
    const int status = std::system((std::string(COMPARE_PROGRAM) + " " + options + " >/dev/null").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string TextOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// @return the figures of a peer at a work; null when they are not there.
Json::Value FiguresOf(const Json::Value& all, const std::string& work, const std::string& peer) {
    for (const Json::Value& one : all) {
        if (one["work"] == work && one["peer"] == peer) {
            return one;
        }
    }
    return {};
}

TEST(Run, HasEveryFigureOfEveryPeerAtEveryWork) {
    const TemporaryDirectory directory;
    const std::string base = directory.path() / "compared";
    ASSERT_EQ(ExitCode("--rounds 1 --seconds 0.02 --json " + base + ".json --table " + base + ".md"), 0);
    Json::Value all;
    std::ifstream(base + ".json") >> all;
    const std::string table = TextOf(base + ".md");
    for (const Work& work : AllWorks({}, {})) {
        EXPECT_NE(table.find("### " + work.title + "\n"), std::string::npos) << work.title;
        for (const Contestant& one : ContestantsOf(work, {})) {
            const Json::Value figures = FiguresOf(all, work.name, one.name);
            for (const char* figure :
                 {"per_second", "p50_us", "cpu_us", "per_second_to_floor", "p50_to_floor", "cpu_to_floor"}) {
                EXPECT_GT(figures[figure].asDouble(), 0) << work.name << ", " << one.name << ", " << figure;
            }
            EXPECT_EQ(figures["errors"], 0) << work.name << ", " << one.name;
            EXPECT_NE(table.find("| " + one.name + " |"), std::string::npos) << one.name;
        }
    }
}

TEST(Run, ComparesWhatItWasToldTo) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() / "compared.json";
    ASSERT_EQ(ExitCode("--work post --peer libhttpclient --rounds 2 --seconds 0.02 --json " + file), 0);
    Json::Value all;
    std::ifstream(file) >> all;
    ASSERT_EQ(all.size(), 2U);
    EXPECT_FALSE(FiguresOf(all, "post", "floor").isNull());
    EXPECT_FALSE(FiguresOf(all, "post", "libhttpclient").isNull());
}

TEST(Run, RefusesWorksAndPeersThatThereAreNot) {
    EXPECT_NE(ExitCode("--work none 2>&1"), 0);
    EXPECT_NE(ExitCode("--peer none 2>&1"), 0);
    EXPECT_NE(ExitCode("--rounds 0 2>&1"), 0);
}

TEST(Run, FailsWhenAFileCannotBeWritten) {
    const TemporaryDirectory directory;
    const std::string nowhere = directory.path() / "none" / "file";
    EXPECT_NE(ExitCode("--work get --peer floor --rounds 1 --seconds 0.02 --json " + nowhere + " 2>&1"), 0);
}

} // namespace
