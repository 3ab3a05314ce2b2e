// SPDX-License-Identifier: Apache-2.0
/// @file
/// A deployment in which all is well, for tests to break in one place each.
#pragma once

#include <string>
#include <vector>

#include <json/json.h>

#include <httpclient/testing/Certificates.h>

#include "ToolFixture.h"

/// What a run of `check --json` said.
class CheckReport {
public:
    CheckReport(int exitCode, const std::string& json);

    int ExitCode() const { return m_exitCode; }
    const Json::Value& Root() const { return m_root; }

    /// "<level> <check>" of each warning and error, in their order.
    std::vector<std::string> Problems() const;
    /// The messages and consequences of one check, line by line.
    std::string Said(const std::string& check) const;
    /// The levels of one check, in their order.
    std::vector<std::string> Levels(const std::string& check) const;

private:
    int m_exitCode;
    Json::Value m_root;
};

using Problems = std::vector<std::string>;

class CheckFixture : public ToolFixture {
protected:
    void SetUp() override;

    /// Runs `check --json` with further arguments.
    CheckReport Check(std::vector<std::string> arguments = {}, const std::string& directory = "") const;

    std::string TlsFile(const std::string& name) const { return Path("root/internal/" + name); }
    void WriteTls(const std::string& name, const std::string& content) const;
    void WriteIdentity(const httpclient::testing::Identity& identity, const std::string& password) const;
    /// A manifest that holds this text.
    void WriteManifest(const std::string& cipherText) const;
    /// A text encrypted for this value under the deployment's master key.
    std::string Encrypted(const std::string& plain, unsigned int value = 19) const;

    std::string UrlFile() const { return Path("app/etc/authconf/jwt/service_url_config.json"); }
    std::string JwtFile() const { return Path("app/etc/authconf/jwt/jwt_billing.json"); }
    void WriteUrls(const std::string& content) const;
    void WriteJwt(const std::string& content) const;

    const httpclient::testing::CertificateAuthority m_ca;
    const httpclient::testing::Identity m_client = m_ca.IssueClient();
};
