// SPDX-License-Identifier: Apache-2.0
/// @file
/// A directory of a test's own, with a master key file that VORN_KEY_FILE names.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <vorncipher/VornMasterKey.h>

#include <httpclient/testing/Environment.h>

class MasterKeyFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(VornMasterKey::Make(m_keyFile), VORN_OK);
        UseKeyFile(m_keyFile);
    }

    void TearDown() override { unsetenv("VORN_KEY_FILE"); }

    static void UseKeyFile(const std::string& path) { setenv("VORN_KEY_FILE", path.c_str(), 1); }

    /// Writes a file of mode 0600 into the test's directory.
    std::string WriteFile(const std::string& name, const std::string& content) const {
        return m_temporary.Write(name, content);
    }

private:
    const httpclient::testing::TemporaryDirectory m_temporary;

protected:
    const std::filesystem::path m_directory = m_temporary.path();
    const std::string m_keyFile = m_directory / "master.key";
};
