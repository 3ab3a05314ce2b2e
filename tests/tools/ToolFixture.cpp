// SPDX-License-Identifier: Apache-2.0
#include "ToolFixture.h"

#include <algorithm>

#include <sys/stat.h>

#include <vorncipher/VornCipher.h>

ToolFixture::ToolFixture() {
    m_variables["VORN_KEY_FILE"] = Path("master.key");
}

void ToolFixture::MakeMasterKey() {
    const ToolResult made = Run({"init-key"});
    ASSERT_EQ(made.exitCode, 0) << made.err;
}

ToolResult ToolFixture::Run(const std::vector<std::string>& arguments, const std::string& input,
                            const std::string& directory) const {
    const ToolResult result = RunTool(arguments, m_variables, input, directory);
    ExpectNoSecret(result.out);
    ExpectNoSecret(result.err);
    return result;
}

TerminalResult ToolFixture::RunTyping(const std::vector<std::string>& arguments,
                                      const std::vector<Typed>& typed) const {
    const TerminalResult result = RunOnTerminal(arguments, m_variables, typed);
    ExpectNoSecret(result.screen);
    return result;
}

void ToolFixture::ExpectNoSecret(const std::string& text) const {
    EXPECT_EQ(text.find(CANARY_PASSWORD), std::string::npos) << text;
    EXPECT_EQ(text.find(CANARY_JWT), std::string::npos) << text;
    const std::string keyLine = ReadFile(Path("master.key"));
    const std::string prefix = "vornkey1:";
    if (keyLine.compare(0, prefix.size(), prefix) == 0) {
        EXPECT_EQ(text.find(keyLine.substr(prefix.size(), 20)), std::string::npos) << text;
    }
}

std::string ToolFixture::Decrypted(const std::string& text) const {
    const httpclient::testing::ScopedEnvironment keyFile("VORN_KEY_FILE", Path("master.key"));
    std::string plain;
    const int status = VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, 19);
    return status == 0 ? plain : "status " + std::to_string(status);
}

mode_t ToolFixture::ModeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

std::vector<std::string> NamesIn(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}
