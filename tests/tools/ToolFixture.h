// SPDX-License-Identifier: Apache-2.0
/// @file
/// What all tests of the tool share: a directory, a master key, and a watch over secrets.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Files.h>

#include "Terminal.h"
#include "ToolRun.h"

using httpclient::testing::ReadFile;

inline constexpr const char* CANARY_PASSWORD = "canary-password-7Qz";
inline constexpr const char* CANARY_JWT = "eyJjYW5hcnkiOjF9.Y2FuYXJ5LWp3dA.c2lnbmF0dXJl";

class ToolFixture : public ::testing::Test {
protected:
    ToolFixture();

    /// A path below the test's directory.
    std::string Path(const std::string& relative) const { return (m_directory.path() / relative).string(); }

    /// Makes the master key that m_variables names.
    void MakeMasterKey();

    /// Runs the tool and makes sure that it shows no secret.
    ToolResult Run(const std::vector<std::string>& arguments, const std::string& input = "",
                   const std::string& directory = "") const;
    TerminalResult RunTyping(const std::vector<std::string>& arguments,
                             const std::vector<Typed>& typed) const;

    /// The password in an encrypted text, or "status N".
    std::string Decrypted(const std::string& text) const;

    static mode_t ModeOf(const std::string& path);

    httpclient::testing::TemporaryDirectory m_directory;
    Variables m_variables; ///< The environment of the tool.

private:
    void ExpectNoSecret(const std::string& text) const;
};

/// The names in a directory, sorted.
std::vector<std::string> NamesIn(const std::string& directory);
