// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include "CheckFixture.h"

namespace {

using CheckIdentityTest = CheckFixture;

TEST_F(CheckIdentityTest, TheSwitchIsOnOnlyWhenExactlyTrue) {
    EXPECT_EQ(Check().Said("identity-switch"), "service identity is on\n\n");
    for (const char* value : {"True", "TRUE", "1", "yes", "true ", " true", "on"}) {
        m_variables["enableServiceIdentity"] = value;
        EXPECT_EQ(Check().Problems(), Problems{"warning identity-switch"}) << value;
        EXPECT_NE(Check().Said("identity-switch").find("service identity is off"), std::string::npos);
    }
    for (const char* value : {"", "false"}) {
        m_variables["enableServiceIdentity"] = value;
        EXPECT_EQ(Check().Levels("identity-switch"), std::vector<std::string>{"note"}) << value;
    }
    m_variables.erase("enableServiceIdentity");
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckIdentityTest, FilesAreNotLookedAtWhenTheSwitchIsOff) {
    m_variables["enableServiceIdentity"] = "false";
    m_variables.erase("OVEX_MAINTENANCE_IP");
    std::filesystem::remove(UrlFile());
    WriteJwt("garbage");
    const CheckReport report = Check();
    EXPECT_EQ(report.Problems(), Problems{});
    EXPECT_EQ(report.Said("service-urls"), UrlFile() + ": not read, as service identity is off\n\n");
    EXPECT_EQ(report.Said("jwt"), JwtFile() + ": not read, as service identity is off\n\n");
    EXPECT_EQ(report.Levels("maintenance-address"), std::vector<std::string>{"note"});
}

TEST_F(CheckIdentityTest, SaysWhatAProcessMakesOfABrokenCredential) {
    const std::pair<const char*, const char*> cases[] = {
        {"garbage", "load jwt_billing.json failed."},
        {"", "load jwt_billing.json failed."},
        {"[]", "parse jwt_billing.json catch an exception."},
        {"7", "parse jwt_billing.json catch an exception."},
        {R"({"jwt": ["a"]})", "parse jwt_billing.json catch an exception."},
        {"{}", "no text in \"jwt\""},
        {"null", "no text in \"jwt\""},
        {R"({"jwt": ""})", "no text in \"jwt\""},
        {R"({"jwt": null})", "no text in \"jwt\""},
        {R"({"JWT": "a.b.c"})", "no text in \"jwt\""},
    };
    for (const auto& [content, says] : cases) {
        WriteJwt(content);
        const CheckReport report = Check();
        EXPECT_EQ(report.Problems(), Problems{"error jwt"}) << content;
        EXPECT_NE(report.Said("jwt").find(says), std::string::npos) << report.Said("jwt");
        EXPECT_NE(report.Said("jwt").find(JwtFile()), std::string::npos);
    }
}

TEST_F(CheckIdentityTest, WarnsOfACredentialThatDoesNotLookLikeOne) {
    for (const char* jwt : {"7", "\"a\"", "\"a.b\"", "\"a.b.c.d\"", "\".b.c\"", "\"a..c\"", "\"a.b.\"",
                            "\"a.b.c \"", "\"a.b.c\\n\"", "\"Bearer a.b.c\""}) {
        WriteJwt(std::string(R"({"jwt": )") + jwt + "}");
        EXPECT_EQ(Check().Problems(), Problems{"warning jwt"}) << jwt;
    }
    WriteJwt(R"(/* made by hand */ {"jwt": "a-_.b.c", "other": 1})");
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckIdentityTest, TellsTheCredentialsLengthAndNothingElseOfIt) {
    EXPECT_EQ(Check().Levels("jwt"), (std::vector<std::string>{"ok", "ok"}));
    EXPECT_NE(Check().Said("jwt").find("holds a credential of " +
                                       std::to_string(std::string(CANARY_JWT).size()) + " bytes"),
              std::string::npos);
    WriteJwt(std::string(R"({"jwt": ")") + CANARY_JWT + " \"}"); // Run looks for it in each report
    EXPECT_EQ(Check().Problems(), Problems{"warning jwt"});
    WriteJwt(std::string(R"({"jwt": ")") + CANARY_JWT + "\",,}");
    EXPECT_EQ(Check().Problems(), Problems{"error jwt"});
    WriteJwt(std::string("{") + CANARY_JWT + "}");
    EXPECT_EQ(Check().Problems(), Problems{"error jwt"});
}

TEST_F(CheckIdentityTest, MindsWhoReadsTheCredential) {
    chmod(JwtFile().c_str(), 0644);
    EXPECT_EQ(Check().Problems(), Problems{"error jwt"});
    chmod(JwtFile().c_str(), 0640);
    EXPECT_EQ(Check().Problems(), Problems{});
    chmod(JwtFile().c_str(), 0660);
    EXPECT_EQ(Check().Problems(), Problems{"error jwt"});
    chmod(JwtFile().c_str(), 0600);
    chmod(UrlFile().c_str(), 0644); // no secret
    EXPECT_EQ(Check().Problems(), Problems{});
    chmod(UrlFile().c_str(), 0646);
    EXPECT_EQ(Check().Problems(), Problems{"error service-urls"});
}

TEST_F(CheckIdentityTest, MissesTheFiles) {
    std::filesystem::remove(UrlFile());
    std::filesystem::remove(JwtFile());
    const CheckReport report = Check();
    EXPECT_EQ(report.Problems(), (Problems{"error service-urls", "error jwt"}));
    EXPECT_NE(report.Said("service-urls").find("open service_url_config.json failed."), std::string::npos);
    EXPECT_NE(report.Said("jwt").find("open jwt_billing.json failed."), std::string::npos);
}

TEST_F(CheckIdentityTest, SaysWhereAProcessLooksWithoutRootAndName) {
    m_variables.erase("APP_NAME");
    const CheckReport nameless = Check();
    EXPECT_EQ(nameless.Problems(), (Problems{"warning jwt", "error jwt"}));
    EXPECT_NE(nameless.Said("jwt").find(Path("app/etc/authconf/jwt/jwt_.json")), std::string::npos);

    m_variables.erase("APP_ROOT");
    const CheckReport rootless = Check();
    EXPECT_EQ(rootless.Problems()[0], "warning service-urls");
    EXPECT_NE(rootless.Said("service-urls").find("\n/etc/authconf/jwt/service_url_config.json"),
              std::string::npos);
}

TEST_F(CheckIdentityTest, WantsAMaintenanceAddress) {
    m_variables.erase("OVEX_MAINTENANCE_IP");
    EXPECT_EQ(Check().Problems(), Problems{"error maintenance-address"});
    m_directory.Write("app/etc/sysconf.json", R"({"maintenanceIPAddress": "192.0.2.7"})");
    EXPECT_EQ(Check().Said("maintenance-address"), "192.0.2.7\n\n");
    EXPECT_EQ(Check().ExitCode(), 0);
    m_variables["OVEX_MAINTENANCE_IP"] = "maintenance.example";
    EXPECT_EQ(Check().Problems(), Problems{"warning maintenance-address"});
}

} // namespace
