// SPDX-License-Identifier: Apache-2.0
/// @file
/// A directory that goes away with its owner.
#pragma once

#include <filesystem>
#include <string>

class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }
    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// Writes a file, and the directories above it.
void WriteFile(const std::filesystem::path& path, const std::string& content);
/// @return the content of a file; "" when there is none.
std::string ReadFile(const std::filesystem::path& path);
