// SPDX-License-Identifier: Apache-2.0
#include "CheckFixture.h"

#include <sstream>

#include <sys/stat.h>

#include <vorncipher/VornCipherEncrypt.h>

#include <httpclient/testing/TlsRoot.h>

CheckReport::CheckReport(int exitCode, const std::string& json) : m_exitCode(exitCode) {
    std::istringstream(json) >> m_root;
    EXPECT_EQ(m_root["exitCode"].asInt(), exitCode);
}

std::vector<std::string> CheckReport::Problems() const {
    std::vector<std::string> problems;
    for (const Json::Value& finding : m_root["findings"]) {
        const std::string level = finding["level"].asString();
        if (level == "warning" || level == "error") {
            problems.push_back(level + ' ' + finding["check"].asString());
        }
    }
    return problems;
}

std::string CheckReport::Said(const std::string& check) const {
    std::string said;
    for (const Json::Value& finding : m_root["findings"]) {
        if (finding["check"].asString() == check) {
            said += finding["message"].asString() + '\n' + finding["consequence"].asString() + '\n';
        }
    }
    return said;
}

std::vector<std::string> CheckReport::Levels(const std::string& check) const {
    std::vector<std::string> levels;
    for (const Json::Value& finding : m_root["findings"]) {
        if (finding["check"].asString() == check) {
            levels.push_back(finding["level"].asString());
        }
    }
    return levels;
}

void CheckFixture::SetUp() {
    MakeMasterKey();
    WriteTls("trust.cer", m_ca.certificatePem());
    WriteIdentity(m_client, CANARY_PASSWORD);
    WriteManifest(Encrypted(CANARY_PASSWORD));
    chmod(Path("root").c_str(), 0700); // whatever the umask of the test's user is
    chmod(Path("root/internal").c_str(), 0700);
    WriteUrls(R"({"/rest/a/v1/items": {"type": "sia", "service": "AService"}})");
    WriteJwt(std::string(R"({"jwt": ")") + CANARY_JWT + "\"}");
    m_variables["SSL_ROOT"] = Path("root");
    m_variables["APP_ROOT"] = Path("app");
    m_variables["APP_NAME"] = "billing";
    m_variables["enableServiceIdentity"] = "true";
    m_variables["OVEX_MAINTENANCE_IP"] = "127.0.0.1";
}

CheckReport CheckFixture::Check(std::vector<std::string> arguments, const std::string& directory) const {
    arguments.insert(arguments.begin(), {"check", "--json"});
    const ToolResult result = Run(arguments, "", directory);
    EXPECT_EQ(result.err, "");
    return {result.exitCode, result.out};
}

void CheckFixture::WriteTls(const std::string& name, const std::string& content) const {
    m_directory.Write("root/internal/" + name, content);
}

void CheckFixture::WriteIdentity(const httpclient::testing::Identity& identity,
                                 const std::string& password) const {
    WriteTls("server.cer", identity.certificatePem);
    WriteTls("server_key.pem", httpclient::testing::EncryptKey(identity.keyPem, password));
}

void CheckFixture::WriteManifest(const std::string& cipherText) const {
    WriteTls("manifest.json", httpclient::testing::Manifest(cipherText));
}

std::string CheckFixture::Encrypted(const std::string& plain, unsigned int value) const {
    const httpclient::testing::ScopedEnvironment keyFile("VORN_KEY_FILE", Path("master.key"));
    std::string text;
    EXPECT_EQ(VornCipherEncrypt::Encrypt(plain, text, VORN_CIPHER_KEY_TLS, value), VORN_OK);
    return text;
}

void CheckFixture::WriteUrls(const std::string& content) const {
    m_directory.Write("app/etc/authconf/jwt/service_url_config.json", content);
}

void CheckFixture::WriteJwt(const std::string& content) const {
    m_directory.Write("app/etc/authconf/jwt/jwt_billing.json", content);
}
