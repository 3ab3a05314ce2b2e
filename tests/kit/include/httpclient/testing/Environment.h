// SPDX-License-Identifier: Apache-2.0
/// @file
/// What surrounds a test: environment variables and temporary directories, both put back by themselves.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace httpclient::testing {

/// Sets or unsets an environment variable for as long as it lives, then puts the former state back.
///
/// @par Thread Safety
/// None: the environment may not change while another thread reads it. Make it before the threads.
class ScopedEnvironment {
public:
    /// Sets the variable.
    ScopedEnvironment(std::string name, const std::string& value);
    /// Unsets the variable.
    explicit ScopedEnvironment(std::string name);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_former;
};

/// Unsets, for the rest of the process, every variable that would make libcurl go through a proxy.
void ClearProxyEnvironment();

/// A new directory, closed to other users, that disappears with this object and with all it holds.
///
/// @par Thread Safety
/// Const operations are safe from any number of threads.
class TemporaryDirectory {
public:
    /// @throw std::system_error when no directory can be made.
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /// @return the absolute path, without a slash at its end.
    const std::filesystem::path& path() const { return m_path; }
    /// Writes a file of mode 0600 below the directory, replacing an old one; makes the directories on its way
    /// (mode 0700).
    /// @param relative the file's path, seen from the directory; an absolute one is taken as it is.
    /// @param content its bytes.
    /// @return the file's absolute path.
    /// @throw std::runtime_error when it cannot be written.
    std::filesystem::path Write(const std::filesystem::path& relative, std::string_view content) const;

private:
    std::filesystem::path m_path;
};

} // namespace httpclient::testing
