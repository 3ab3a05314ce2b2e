// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include "CheckFixture.h"

namespace {

constexpr const char* TLS_FILES[] = {"trust.cer", "server.cer", "server_key.pem", "manifest.json"};

using CheckTlsFilesTest = CheckFixture;

TEST_F(CheckTlsFilesTest, SaysWhereAProcessWithoutARootLooks) {
    m_variables.erase("SSL_ROOT");
    const CheckReport unset = Check();
    EXPECT_EQ(unset.Problems().front(), "error tls-root");
    EXPECT_NE(unset.Said("tls-root").find("/internal/manifest.json"), std::string::npos);
    EXPECT_NE(unset.Said("tls-files").find("internal/server.cer: No such file"), std::string::npos);
    m_variables["SSL_ROOT"] = "";
    EXPECT_EQ(Check().Said("tls-root"), unset.Said("tls-root"));
}

TEST_F(CheckTlsFilesTest, TakesARootWithAndWithoutTheFinalSlash) {
    const std::string said = Path("root") + "/ (mode 0700)\n\n";
    EXPECT_EQ(Check().Said("tls-root"), said);
    m_variables["SSL_ROOT"] = Path("root") + "/";
    EXPECT_EQ(Check().Said("tls-root"), said);
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckTlsFilesTest, WarnsOfARootThatDependsOnTheWorkingDirectory) {
    m_variables["SSL_ROOT"] = "root";
    const CheckReport report = Check({}, m_directory.path().string());
    // The manifest is below the root, too, and found from there.
    EXPECT_EQ(report.Problems(), Problems{"warning tls-root"});
    EXPECT_EQ(report.ExitCode(), 1);
}

TEST_F(CheckTlsFilesTest, MissesARootThatIsNotThereOrNoDirectory) {
    m_variables["SSL_ROOT"] = Path("missing");
    EXPECT_NE(Check().Said("tls-root").find("No such file or directory"), std::string::npos);
    m_variables["SSL_ROOT"] = Path("master.key");
    EXPECT_NE(Check().Said("tls-root").find("ot a directory"), std::string::npos);
}

TEST_F(CheckTlsFilesTest, RefusesDirectoriesThatOthersMayChange) {
    for (const mode_t mode : {0770U, 0702U, 0777U}) {
        chmod(Path("root").c_str(), mode);
        EXPECT_EQ(Check().Problems(), Problems{"error tls-root"}) << std::oct << mode;
    }
    chmod(Path("root").c_str(), 01777); // others may add files, but not touch ours
    EXPECT_EQ(Check().Problems(), Problems{});
    chmod(Path("root").c_str(), 0755);
    EXPECT_EQ(Check().Problems(), Problems{});
    chmod(Path("root/internal").c_str(), 0720);
    EXPECT_EQ(Check().Problems(), Problems{"error tls-directory"});
    chmod(Path("root/internal").c_str(), 0750);
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckTlsFilesTest, MissesTheDirectory) {
    std::filesystem::remove_all(Path("root/internal"));
    EXPECT_EQ(Check().Problems(),
              (Problems{"error tls-directory", "error tls-files", "error tls-files", "error tls-files",
                        "error tls-files", "error manifest", "error password", "error trust",
                        "error certificate", "error key"}));
}

TEST_F(CheckTlsFilesTest, MissesEachFile) {
    const std::pair<const char*, Problems> cases[] = {
        {"trust.cer", {"error tls-files", "error trust"}},
        {"server.cer", {"error tls-files", "error certificate"}},
        {"server_key.pem", {"error tls-files", "error key"}},
        {"manifest.json", {"error tls-files", "error manifest", "error password", "error key"}}};
    for (const auto& [name, problems] : cases) {
        const std::string content = ReadFile(TlsFile(name));
        std::filesystem::remove(TlsFile(name));
        const CheckReport report = Check();
        EXPECT_EQ(report.Problems(), problems) << name;
        EXPECT_NE(report.Said("tls-files").find(std::string(name) + ": No such file"), std::string::npos);
        WriteTls(name, content);
    }
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckTlsFilesTest, SaysWhatAMissingPieceLeavesUnchecked) {
    std::filesystem::remove(TlsFile("server.cer"));
    const CheckReport report = Check();
    EXPECT_EQ(report.Levels("key-match"), std::vector<std::string>{"note"});
    EXPECT_EQ(report.Levels("chain"), std::vector<std::string>{"note"});
}

TEST_F(CheckTlsFilesTest, RefusesWhatIsNoRegularFile) {
    std::filesystem::remove(TlsFile("trust.cer"));
    ASSERT_EQ(mkfifo(TlsFile("trust.cer").c_str(), 0600), 0);
    const CheckReport report = Check();
    EXPECT_EQ(report.Problems(), (Problems{"error tls-files", "error trust"}));
    EXPECT_NE(report.Said("tls-files").find("not a regular file"), std::string::npos);
}

TEST_F(CheckTlsFilesTest, RefusesFilesThatOthersMayChange) {
    for (const char* name : TLS_FILES) {
        for (const mode_t mode : {0620U, 0602U}) {
            chmod(TlsFile(name).c_str(), mode);
            const CheckReport report = Check();
            EXPECT_EQ(report.Problems(), Problems{"error tls-files"}) << name << std::oct << mode;
            EXPECT_NE(
                report.Said("tls-files").find(std::string(name) + ": the group or others may change it"),
                std::string::npos);
        }
        chmod(TlsFile(name).c_str(), 0640);
    }
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckTlsFilesTest, MindsWhoReadsASecret) {
    const std::pair<const char*, Problems> cases[] = {{"trust.cer", {}},
                                                      {"server.cer", {}},
                                                      {"server_key.pem", {"error tls-files"}},
                                                      {"manifest.json", {"warning tls-files"}}};
    for (const auto& [name, problems] : cases) {
        chmod(TlsFile(name).c_str(), 0644);
        EXPECT_EQ(Check().Problems(), problems) << name;
        chmod(TlsFile(name).c_str(), 0600);
    }
}

TEST_F(CheckTlsFilesTest, RefusesWhatBelongsToSomebodyElse) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    ASSERT_EQ(chown(TlsFile("trust.cer").c_str(), 12345, 0), 0);
    EXPECT_EQ(Check().Problems(), Problems{"error tls-files"});
    ASSERT_EQ(chown(TlsFile("trust.cer").c_str(), 0, 0), 0);
    ASSERT_EQ(chown(Path("root/internal").c_str(), 12345, 0), 0);
    EXPECT_EQ(Check().Problems(), Problems{"error tls-directory"});
}

TEST_F(CheckTlsFilesTest, SaysWhatAProcessMakesOfABrokenManifest) {
    const std::tuple<const char*, const char*> cases[] = {
        {"not JSON", "parse ... error!"},
        {"", "parse ... error!"},
        {"// comment\n{}", "parse ... error!"},
        {"{} {}", "parse ... error!"},
        {"{}", "the enc text is null!"},
        {"null", "the enc text is null!"},
        {R"({"filelist": {"server_key.pem": {"keyPass": ""}}})", "the enc text is null!"},
        {R"({"filelist": {"server_key.pem": {"KeyPass": "x"}}})", "the enc text is null!"},
        {R"({"filelist": []})", "parse file catch an exception!"},
        {R"({"filelist": 7})", "parse file catch an exception!"},
        {R"({"filelist": {"server_key.pem": {"keyPass": {}}}})", "parse file catch an exception!"},
        {"[]", "parse file catch an exception!"}};
    for (const auto& [content, says] : cases) {
        WriteTls("manifest.json", content);
        const CheckReport report = Check();
        EXPECT_EQ(report.Problems(), (Problems{"error manifest", "error password", "error key"})) << content;
        EXPECT_NE(report.Said("manifest").find(says), std::string::npos)
            << content << report.Said("manifest");
    }
}

} // namespace
