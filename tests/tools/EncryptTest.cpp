// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include <json/json.h>

#include "ToolFixture.h"
#include "tests/support/IgnoredSignal.h"
#include "tests/support/ResourceLimit.h"

using httpclient::testing::IgnoredSignal;
using httpclient::testing::ResourceLimit;

namespace {

constexpr const char* FIRST_PROMPT = "Password: ";
constexpr const char* SECOND_PROMPT = "Verifying - Password: ";

std::string WithoutLineEnd(const std::string& text) {
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    return text.substr(0, text.size() - 1);
}

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return value;
}

class EncryptTest : public ToolFixture {
protected:
    void SetUp() override { MakeMasterKey(); }

    std::string WriteManifest(const std::string& content) const {
        return m_directory.Write("manifest.json", content).string();
    }
};

TEST_F(EncryptTest, PrintsTheTextOfAPasswordOnStandardInput) {
    const ToolResult result = Run({"encrypt"}, CANARY_PASSWORD);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(Decrypted(WithoutLineEnd(result.out)), CANARY_PASSWORD);
}

TEST_F(EncryptTest, TakesOneLineEndOffThePassword) {
    for (const char* end : {"\n", "\r\n"}) {
        const ToolResult result = Run({"encrypt"}, std::string(CANARY_PASSWORD) + end);
        EXPECT_EQ(Decrypted(WithoutLineEnd(result.out)), CANARY_PASSWORD);
    }
    const ToolResult blanks = Run({"encrypt"}, " a b \n");
    EXPECT_EQ(Decrypted(WithoutLineEnd(blanks.out)), " a b ");
}

TEST_F(EncryptTest, RefusesWhatNoKeyCanHaveAsPassword) {
    const std::string inputs[] = {
        "", "\n", "\r\n", "two\nlines", "two\r", "a\n\n", std::string("nul\0byte", 8)};
    for (const std::string& input : inputs) {
        const ToolResult result = Run({"encrypt"}, input);
        EXPECT_EQ(result.exitCode, 3) << input;
        EXPECT_EQ(result.out, "") << input;
        EXPECT_NE(result.err.find("the password "), std::string::npos) << result.err;
    }
}

TEST_F(EncryptTest, TakesTheLongestPasswordAndRefusesOneByteMore) {
    const std::string longest(1023, 'x');
    EXPECT_EQ(Decrypted(WithoutLineEnd(Run({"encrypt"}, longest).out)), longest);
    EXPECT_EQ(Decrypted(WithoutLineEnd(Run({"encrypt"}, longest + "\r\n").out)), longest);
    for (const std::size_t more : {1U, 2U, 3U, 5000U}) {
        const ToolResult result = Run({"encrypt"}, longest + std::string(more, 'x'));
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_NE(result.err.find("longer than 1023 bytes"), std::string::npos) << result.err;
    }
}

TEST_F(EncryptTest, SaysWhyThereIsNoMasterKey) {
    chmod(Path("master.key").c_str(), 0644);
    EXPECT_NE(Run({"encrypt"}, CANARY_PASSWORD).err.find("lets the group or others at it"),
              std::string::npos);
    m_variables.clear();
    const ToolResult unset = Run({"encrypt"}, CANARY_PASSWORD);
    EXPECT_EQ(unset.exitCode, 3);
    EXPECT_NE(unset.err.find("VORN_KEY_FILE is unset"), std::string::npos);
}

TEST_F(EncryptTest, TakesTheKeyFileOfTheOptionBeforeTheVariables) {
    m_variables["VORN_KEY_FILE"] = Path("missing.key");
    const ToolResult result = Run({"encrypt", "--key-file", Path("master.key")}, CANARY_PASSWORD);
    EXPECT_EQ(Decrypted(WithoutLineEnd(result.out)), CANARY_PASSWORD);
}

TEST_F(EncryptTest, AsksTwiceOnATerminalWithoutEcho) {
    const std::string line = std::string(CANARY_PASSWORD) + "\n";
    const TerminalResult result = RunTyping({"encrypt"}, {{FIRST_PROMPT, line}, {SECOND_PROMPT, line}});
    EXPECT_EQ(result.exitCode, 0) << result.screen;
    EXPECT_EQ(result.hiddenPrompts, 2) << result.screen;
    EXPECT_TRUE(result.echoAtEnd);
    const std::size_t text = result.screen.find("vorn1:");
    ASSERT_NE(text, std::string::npos) << result.screen;
    EXPECT_EQ(Decrypted(result.screen.substr(text, result.screen.find('\r', text) - text)), CANARY_PASSWORD);
}

TEST_F(EncryptTest, RefusesTwoPasswordsThatDiffer) {
    const TerminalResult result = RunTyping(
        {"encrypt"}, {{FIRST_PROMPT, std::string(CANARY_PASSWORD) + "\n"}, {SECOND_PROMPT, "another\n"}});
    EXPECT_EQ(result.exitCode, 3) << result.screen;
    EXPECT_TRUE(result.echoAtEnd);
    EXPECT_EQ(result.screen.find("vorn1:"), std::string::npos);
    EXPECT_EQ(result.screen.find("another"), std::string::npos);
}

TEST_F(EncryptTest, RefusesAnEmptyPasswordOnATerminal) {
    const TerminalResult result = RunTyping({"encrypt"}, {{FIRST_PROMPT, "\n"}});
    EXPECT_EQ(result.exitCode, 3) << result.screen;
    EXPECT_TRUE(result.echoAtEnd);
}

TEST_F(EncryptTest, GivesTheTerminalItsEchoBackWhenInterrupted) {
    const TerminalResult result = RunTyping({"encrypt"}, {{FIRST_PROMPT, "half a passw\x03"}});
    EXPECT_NE(result.exitCode, 0) << result.screen;
    EXPECT_TRUE(result.echoAtEnd);
    EXPECT_EQ(result.screen.find("half"), std::string::npos);
}

TEST_F(EncryptTest, PutsTheTextIntoAManifestAndKeepsEverythingElse) {
    const std::string path =
        WriteManifest(R"({"version": 3, "filelist": {"trust.cer": {"hash": "x", "n": [1, 2.5]},
        "server_key.pem": {"keyPass": "old", "owner": "me"}}, "big": 9007199254740993, "text": "\u00e9\n"})");
    chmod(path.c_str(), 0640);
    const ToolResult result = Run({"encrypt", "--manifest", path}, CANARY_PASSWORD);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "updated " + path + "\n");
    EXPECT_EQ(ModeOf(path), 0640U);

    Json::Value after = Parsed(ReadFile(path));
    Json::Value& text = after["filelist"]["server_key.pem"]["keyPass"];
    EXPECT_EQ(Decrypted(text.asString()), CANARY_PASSWORD);
    text = "old";
    EXPECT_EQ(after, Parsed(R"({"version": 3, "filelist": {"trust.cer": {"hash": "x", "n": [1, 2.5]},
        "server_key.pem": {"keyPass": "old", "owner": "me"}}, "big": 9007199254740993, "text": "\u00e9\n"})"));
}

TEST_F(EncryptTest, MakesTheMembersThatAManifestLacks) {
    for (const char* manifest : {"{}", R"({"filelist": null})", R"({"filelist": {"server_key.pem": {}}})"}) {
        const std::string path = WriteManifest(manifest);
        EXPECT_EQ(Run({"encrypt", "--manifest", path}, CANARY_PASSWORD).exitCode, 0) << manifest;
        const Json::Value after = Parsed(ReadFile(path));
        EXPECT_EQ(Decrypted(after["filelist"]["server_key.pem"]["keyPass"].asString()), CANARY_PASSWORD);
    }
}

TEST_F(EncryptTest, LeavesAManifestAloneThatItDoesNotUnderstand) {
    const char* const manifests[] = {"",
                                     "not JSON",
                                     "[1]",
                                     "null",
                                     R"({"filelist": 7})",
                                     R"({"filelist": {"server_key.pem": []}})",
                                     R"({"a": 1} {"b": 2})"};
    for (const char* manifest : manifests) {
        const std::string path = WriteManifest(manifest);
        const ToolResult result = Run({"encrypt", "--manifest", path}, CANARY_PASSWORD);
        EXPECT_EQ(result.exitCode, 3) << manifest;
        EXPECT_EQ(ReadFile(path), manifest);
    }
    EXPECT_EQ(Run({"encrypt", "--manifest", Path("missing.json")}, CANARY_PASSWORD).exitCode, 3);
    EXPECT_EQ(Run({"encrypt", "--manifest", m_directory.path().string()}, CANARY_PASSWORD).exitCode, 3);
    EXPECT_FALSE(std::filesystem::exists(Path("missing.json")));
}

TEST_F(EncryptTest, LeavesNoOtherFilesBehind) {
    const std::string path = WriteManifest("{}");
    EXPECT_EQ(Run({"encrypt", "--manifest", path}, CANARY_PASSWORD).exitCode, 0);
    WriteManifest("[]");
    EXPECT_EQ(Run({"encrypt", "--manifest", path}, CANARY_PASSWORD).exitCode, 3);
    EXPECT_EQ(NamesIn(m_directory.path().string()),
              (std::vector<std::string>{"manifest.json", "master.key"}));
}

TEST_F(EncryptTest, KeepsTheOldManifestWhenTheNewOneCannotBeWritten) {
    const std::string path = WriteManifest("{}");
    {
        const IgnoredSignal tooLarge(SIGXFSZ);
        const ResourceLimit disk(RLIMIT_FSIZE, 16); // as if the disk were full
        EXPECT_EQ(Run({"encrypt", "--manifest", path}, CANARY_PASSWORD).exitCode, 3);
    }
    EXPECT_EQ(ReadFile(path), "{}");
    EXPECT_EQ(NamesIn(m_directory.path().string()),
              (std::vector<std::string>{"manifest.json", "master.key"}));
    EXPECT_EQ(Run({"encrypt", "--manifest", path}, CANARY_PASSWORD).exitCode, 0);
}

TEST_F(EncryptTest, UpdatesTheManifestThatALinkLeadsTo) {
    const std::string path = WriteManifest("{}");
    ASSERT_EQ(symlink(path.c_str(), Path("link").c_str()), 0);
    EXPECT_EQ(Run({"encrypt", "--manifest", Path("link")}, CANARY_PASSWORD).exitCode, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
    EXPECT_NE(ReadFile(path).find("vorn1:"), std::string::npos);
}

TEST_F(EncryptTest, KeepsTheOwnerOfAManifest) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    const std::string path = WriteManifest("{}");
    ASSERT_EQ(chown(path.c_str(), 12345, 12346), 0);
    EXPECT_EQ(Run({"encrypt", "--manifest", path}, CANARY_PASSWORD).exitCode, 0);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345U);
    EXPECT_EQ(status.st_gid, 12346U);
}

} // namespace
