// SPDX-License-Identifier: Apache-2.0
#include "ToolFixture.h"

namespace {

using CommandLineTest = ToolFixture;

TEST_F(CommandLineTest, NeverRepeatsAPasswordThatWasTypedAsAnArgument) {
    const std::vector<std::string> mistakes[] = {{"encrypt", CANARY_PASSWORD},
                                                 {"encrypt", "--password", CANARY_PASSWORD},
                                                 {"encrypt", std::string("--password=") + CANARY_PASSWORD},
                                                 {"check", CANARY_PASSWORD},
                                                 {CANARY_PASSWORD}};
    for (const auto& mistake : mistakes) {
        const ToolResult result = Run(mistake); // Run looks for the password in what is shown
        EXPECT_EQ(result.exitCode, 64) << result.err;
        EXPECT_NE(result.err, "");
    }
}

TEST_F(CommandLineTest, AnswersACommandThatIsMissingOrUnknownWithMisuse) {
    EXPECT_EQ(Run({}).exitCode, 64);
    EXPECT_EQ(Run({"frobnicate"}).exitCode, 64);
    EXPECT_EQ(Run({"check", "--warn-days", "many"}).exitCode, 64);
    EXPECT_EQ(Run({"check", "--warn-days", "-1"}).exitCode, 64);
}

TEST_F(CommandLineTest, HelpNamesEveryCommandAndExitCode) {
    const ToolResult result = Run({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    for (const char* word : {"init-key", "encrypt", "layout", "check", "Exit codes:", "  64  "}) {
        EXPECT_NE(result.out.find(word), std::string::npos) << word;
    }
}

TEST_F(CommandLineTest, EachCommandHasHelpOfItsOwn) {
    const std::pair<const char*, std::vector<const char*>> options[] = {
        {"init-key", {"FILE", "VORN_KEY_FILE"}},
        {"encrypt", {"--manifest", "--key-file"}},
        {"layout",
         {"--self-signed", "--ca", "--cert", "--key", "--group", "--password-stdin", "--host", "--days",
          "--key-file"}},
        {"check",
         {"--ssl-root", "--app-root", "--app-name", "--service-identity", "--maintenance-ip", "--key-file",
          "--user", "--warn-days", "--json"}}};
    for (const auto& [command, words] : options) {
        const ToolResult result = Run({command, "--help"});
        EXPECT_EQ(result.exitCode, 0) << command;
        for (const char* word : words) {
            EXPECT_NE(result.out.find(word), std::string::npos) << command << ' ' << word;
        }
    }
}

TEST_F(CommandLineTest, VersionIsTheProjects) {
    const ToolResult result = Run({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out.compare(0, 9, "ovex-tls "), 0) << result.out;
}

} // namespace
