// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stands before stat(): link FrozenStamps.cpp.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include <sys/stat.h>

/// While it lives, what the thread that made it sees of a file stays as it was at the first look.
class FrozenStamps {
public:
    /// @param age how long ago each file is said to have changed, at that look.
    explicit FrozenStamps(std::chrono::seconds age);
    ~FrozenStamps();
    FrozenStamps(const FrozenStamps&) = delete;
    FrozenStamps& operator=(const FrozenStamps&) = delete;

    /// @cond INTERNAL
    int Look(const char* path, struct stat* seen);
    /// @endcond

private:
    std::chrono::seconds m_age;
    std::map<std::string, struct stat> m_stamps;
};
