// SPDX-License-Identifier: Apache-2.0
/// @file
/// To be someone whom file modes hold.
#pragma once

#include <filesystem>

#include <sys/types.h>

/// While it lives, a process of root's acts as an ordinary user; any other process is one already.
class WithoutPrivileges {
public:
    /// @param directory stays reachable: it is given to that user with all it holds.
    explicit WithoutPrivileges(const std::filesystem::path& directory);
    ~WithoutPrivileges();
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

    /// @return whether file modes hold this process now.
    bool held() const;

private:
    uid_t m_former;
};
