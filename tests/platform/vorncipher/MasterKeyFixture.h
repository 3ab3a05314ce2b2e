// SPDX-License-Identifier: Apache-2.0
/// @file
/// A directory of a test's own, with a master key file that VORN_KEY_FILE names.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <vorncipher/VornMasterKey.h>

class MasterKeyFixture : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (std::filesystem::temp_directory_path() / "vorn-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        m_directory = name;
        m_keyFile = (m_directory / "master.key").string();
        ASSERT_EQ(VornMasterKey::Make(m_keyFile), VORN_OK);
        UseKeyFile(m_keyFile);
    }

    void TearDown() override {
        unsetenv("VORN_KEY_FILE");
        std::filesystem::remove_all(m_directory);
    }

    static void UseKeyFile(const std::string& path) { setenv("VORN_KEY_FILE", path.c_str(), 1); }

    /// Writes a file of mode 0600 into the test's directory.
    std::string WriteFile(const std::string& name, const std::string& content) const {
        std::string path = (m_directory / name).string();
        std::ofstream(path, std::ios::binary) << content;
        chmod(path.c_str(), 0600);
        return path;
    }

    std::filesystem::path m_directory;
    std::string m_keyFile;
};
