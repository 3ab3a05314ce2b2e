// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <ovexcommon/SysConfReader.h>

#include <httpclient/testing/Environment.h>

namespace {

std::string Address() {
    return Ovexcommon::SysConfReader::Instance()->getMaintenanceIPAddress();
}

class SysConfReader : public ::testing::Test {
protected:
    SysConfReader() {
        unsetenv("OVEX_MAINTENANCE_IP");
        setenv("APP_ROOT", m_root.path().c_str(), 1);
    }
    ~SysConfReader() override {
        unsetenv("OVEX_MAINTENANCE_IP");
        unsetenv("APP_ROOT");
    }

    std::filesystem::path file() const { return m_root.path() / "etc/sysconf.json"; }
    std::string AddressWith(const std::string& configuration) const {
        m_root.Write(file(), configuration);
        return Address();
    }

    httpclient::testing::TemporaryDirectory m_root;
};

} // namespace

TEST_F(SysConfReader, IsOneForTheProcess) {
    EXPECT_NE(Ovexcommon::SysConfReader::Instance(), nullptr);
    EXPECT_EQ(Ovexcommon::SysConfReader::Instance(), Ovexcommon::SysConfReader::Instance());
}

TEST_F(SysConfReader, TakesTheAddressFromTheFileUnderTheRoot) {
    EXPECT_EQ(AddressWith(R"({"maintenanceIPAddress": "192.0.2.7"})"), "192.0.2.7");
}

TEST_F(SysConfReader, AllowsCommentsAndOtherMembersInTheFile) {
    EXPECT_EQ(
        AddressWith(
            "// this host\n{\"other\": [1, 2], /* here */ \"maintenanceIPAddress\": \"2001:db8::7\"}\n"),
        "2001:db8::7");
}

TEST_F(SysConfReader, PrefersTheEnvironmentToTheFile) {
    setenv("OVEX_MAINTENANCE_IP", "127.0.0.1", 1);
    EXPECT_EQ(AddressWith(R"({"maintenanceIPAddress": "192.0.2.7"})"), "127.0.0.1");
}

TEST_F(SysConfReader, TakesAnEmptyVariableForAHostWithoutAddress) {
    setenv("OVEX_MAINTENANCE_IP", "", 1);
    EXPECT_EQ(AddressWith(R"({"maintenanceIPAddress": "192.0.2.7"})"), "");
}

TEST_F(SysConfReader, SeesAChangedFileAtTheNextCall) {
    EXPECT_EQ(AddressWith(R"({"maintenanceIPAddress": "192.0.2.7"})"), "192.0.2.7");
    EXPECT_EQ(AddressWith(R"({"maintenanceIPAddress": "192.0.2.8"})"), "192.0.2.8");
    std::filesystem::remove(file());
    EXPECT_EQ(Address(), "");
}

TEST_F(SysConfReader, AnswersEmptyWithoutTheFile) {
    EXPECT_EQ(Address(), "");
}

TEST_F(SysConfReader, AnswersEmptyWithoutTheRoot) {
    unsetenv("APP_ROOT");
    EXPECT_EQ(Address(), "");
}

TEST_F(SysConfReader, AnswersEmptyForARootThatNoFileSystemTakes) {
    setenv("APP_ROOT", std::string(100000, 'r').c_str(), 1);
    EXPECT_EQ(Address(), "");
}

TEST_F(SysConfReader, AnswersEmptyForABrokenFile) {
    for (const char* configuration :
         {"", "{", "null", "[]", "7", "\"maintenanceIPAddress\"", "{}", R"({"maintenanceIPAddress": 7})",
          R"({"maintenanceIPAddress": null})", R"({"maintenanceIPAddress": ["192.0.2.7"]})",
          R"({"maintenanceipaddress": "192.0.2.7"})", R"({"maintenanceIPAddress": "192.0.2.7")"}) {
        EXPECT_EQ(AddressWith(configuration), "") << configuration;
    }
    EXPECT_EQ(AddressWith(std::string(100000, '[')), "");
}

TEST_F(SysConfReader, AnswersEmptyForADirectoryInTheFilesPlace) {
    std::filesystem::create_directories(file());
    EXPECT_EQ(Address(), "");
}

TEST_F(SysConfReader, AnswersEmptyForAFileInTheDirectorysPlace) {
    m_root.Write("etc", "not a directory");
    EXPECT_EQ(Address(), "");
}

TEST_F(SysConfReader, DoesNotWaitForAPipeInTheFilesPlace) {
    std::filesystem::create_directories(file().parent_path());
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    EXPECT_EQ(Address(), "");
}
