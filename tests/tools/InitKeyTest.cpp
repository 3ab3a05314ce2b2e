// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <vorncipher/VornMasterKey.h>

#include "ToolFixture.h"

namespace {

using InitKeyTest = ToolFixture;

TEST_F(InitKeyTest, MakesAUsableKeyFileForItsOwnerAlone) {
    const ToolResult result = Run({"init-key", Path("own.key")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(ModeOf(Path("own.key")), 0600U);
    EXPECT_EQ(VornMasterKey::Check(Path("own.key")), VORN_OK);
    EXPECT_NE(result.out.find("made the master key file " + Path("own.key")), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(Path("master.key"))); // the argument goes before the variable
}

TEST_F(InitKeyTest, MakesTheFileThatTheEnvironmentNames) {
    EXPECT_EQ(Run({"init-key"}).exitCode, 0);
    EXPECT_EQ(VornMasterKey::Check(Path("master.key")), VORN_OK);
}

TEST_F(InitKeyTest, WantsAFileName) {
    m_variables.clear();
    const ToolResult result = Run({"init-key"});
    EXPECT_EQ(result.exitCode, 64);
    EXPECT_EQ(result.out, "");
}

TEST_F(InitKeyTest, NeverOverwrites) {
    MakeMasterKey();
    const std::string before = ReadFile(Path("master.key"));
    const ToolResult result = Run({"init-key"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.err,
              "ovex-tls: " + Path("master.key") + ": the file is there already and is left as it is\n");
    EXPECT_EQ(ReadFile(Path("master.key")), before);
}

TEST_F(InitKeyTest, RefusesADirectoryInWhichOthersMayReplaceFiles) {
    ASSERT_EQ(mkdir(Path("open").c_str(), 0700), 0);
    ASSERT_EQ(chmod(Path("open").c_str(), 0777), 0);
    const ToolResult result = Run({"init-key", Path("open/key")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_NE(result.err.find("others may replace files"), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(Path("open/key")));
}

TEST_F(InitKeyTest, RefusesADirectoryThatIsNotThere) {
    const ToolResult result = Run({"init-key", Path("missing/key")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_NE(result.err.find("could not be written"), std::string::npos) << result.err;
}

} // namespace
