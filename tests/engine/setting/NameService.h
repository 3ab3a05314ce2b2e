// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds getaddrinfo(): names that a test makes up, and how long they take.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// While it lives, names that end in ".test" are what it says. One at a time.
class NameService {
public:
    NameService();
    /// Lets look-ups that are held go on, and waits for them.
    ~NameService();
    NameService(const NameService&) = delete;
    NameService& operator=(const NameService&) = delete;

    /// @param addresses numeric; none: the name does not resolve.
    void Set(const std::string& name, std::vector<std::string> addresses);
    /// Look-ups of a name wait until Release().
    void Hold(const std::string& name);
    void Release();
    /// @return how many look-ups of a name were begun.
    std::size_t LookUps(const std::string& name) const;
};
