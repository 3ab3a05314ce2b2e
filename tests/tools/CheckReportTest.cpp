// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CheckFixture.h"

namespace {

using CheckReportTest = CheckFixture;

TEST_F(CheckReportTest, ADeploymentInWhichAllIsWellPasses) {
    const CheckReport report = Check();
    EXPECT_EQ(report.ExitCode(), 0);
    EXPECT_EQ(report.Problems(), Problems{});
    EXPECT_EQ(report.Root()["errors"].asInt(), 0);
    EXPECT_EQ(report.Root()["warnings"].asInt(), 0);
    EXPECT_EQ(report.Root()["verdict"].asString(), "all is well");
}

TEST_F(CheckReportTest, EveryCheckReportsInItsPlace) {
    std::vector<std::string> checks;
    const CheckReport report = Check();
    for (const Json::Value& finding : report.Root()["findings"]) {
        if (checks.empty() || checks.back() != finding["check"].asString()) {
            checks.push_back(finding["check"].asString());
        }
        EXPECT_NE(finding["message"].asString(), "");
    }
    EXPECT_EQ(checks, (std::vector<std::string>{
                          "user", "master-key", "tls-root", "tls-directory", "tls-files", "manifest",
                          "password", "trust", "certificate", "key", "key-match", "chain", "dates",
                          "server-names", "identity-switch", "service-urls", "jwt", "maintenance-address"}));
}

TEST_F(CheckReportTest, TextSaysTheSameAsJson) {
    chmod(TlsFile("manifest.json").c_str(), 0644);
    chmod(TlsFile("server_key.pem").c_str(), 0644);
    const ToolResult text = Run({"check"});
    const CheckReport json = Check();
    EXPECT_EQ(text.exitCode, json.ExitCode());
    EXPECT_EQ(text.err, "");
    for (const Json::Value& finding : json.Root()["findings"]) {
        EXPECT_NE(text.out.find(finding["message"].asString() + '\n'), std::string::npos);
        EXPECT_NE(text.out.find(finding["consequence"].asString() + '\n'), std::string::npos);
    }
    EXPECT_NE(text.out.find("\n1 error, 1 warning: a process would not work as it should\n"),
              std::string::npos)
        << text.out;
}

TEST_F(CheckReportTest, WarningsAloneHaveAnExitCodeOfTheirOwn) {
    chmod(TlsFile("manifest.json").c_str(), 0644);
    EXPECT_EQ(Check().ExitCode(), 1);
    chmod(TlsFile("server_key.pem").c_str(), 0644);
    EXPECT_EQ(Check().ExitCode(), 2);
    chmod(TlsFile("manifest.json").c_str(), 0600);
    EXPECT_EQ(Check().ExitCode(), 2);
}

TEST_F(CheckReportTest, OptionsStandForTheEnvironment) {
    m_variables.clear();
    const CheckReport report =
        Check({"--ssl-root", Path("root"), "--app-root", Path("app"), "--app-name", "billing",
               "--service-identity", "true", "--maintenance-ip", "::1", "--key-file", Path("master.key")});
    EXPECT_EQ(report.Problems(), Problems{});
    EXPECT_EQ(report.Said("maintenance-address"), "::1\n\n");
}

TEST_F(CheckReportTest, NamesFromFilesCannotDriveTheTerminal) {
    WriteUrls("{\"/a\\u001b[2J\\n\": {\"type\": \"sia\", \"service\": \"\"}, \"/b\xff\": {\"type\": \"x\"}}");
    for (const char* format : {"--json", "--warn-days=30"}) {
        const ToolResult result = Run({"check", format});
        EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
        EXPECT_EQ(result.out.find("[2J\n"), std::string::npos);
        EXPECT_NE(result.out.find("/a?[2J?"), std::string::npos) << result.out;
    }
    EXPECT_EQ(Check().Problems(), (Problems{"warning service-urls", "warning service-urls"}));
}

TEST_F(CheckReportTest, SeesWithTheEyesOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const CheckReport shut = Check({"--user", "nobody"}); // the test's directory is closed to others
    EXPECT_EQ(shut.Said("user"), "checked as nobody\n\n");
    EXPECT_EQ(shut.ExitCode(), 2);
    EXPECT_NE(shut.Said("tls-root").find("Permission denied"), std::string::npos);
    EXPECT_NE(shut.Said("master-key").find("cannot be read"), std::string::npos);

    chmod(m_directory.path().c_str(), 0711);
    chmod(Path("root").c_str(), 0711);
    chmod(Path("root/internal").c_str(), 0711);
    const gid_t rootsGroup = 0; // as a login of root has it; it must not come along
    ASSERT_EQ(setgroups(1, &rootsGroup), 0);
    chmod(TlsFile("trust.cer").c_str(), 0640);
    const CheckReport ajar = Check({"--user", "nobody"});
    EXPECT_NE(ajar.Said("tls-files").find("trust.cer: this user may not read it"), std::string::npos);
    EXPECT_NE(ajar.Said("tls-files").find("server.cer: this user may not read it"), std::string::npos);
    EXPECT_EQ(Run({"check", "--user", "no-such-user"}).exitCode, 3);
}

} // namespace
