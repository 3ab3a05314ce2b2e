// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs hosts of the library: programs of their own, which end as programs do.
#pragma once

#include <string>
#include <vector>

/// How a host ended.
struct HostEnd {
    int status = -1;           ///< As waitpid() tells it.
    std::string standardError; ///< What it wrote there: faults and reports of sanitizers, too.
};

/// Runs a host until its end.
/// @param arguments those after the program's name.
HostEnd RunHost(const std::string& program, const std::vector<std::string>& arguments);

/// Fails the test unless the host ends with 0 and without a word.
void ExpectToEndWell(const std::string& program, const std::vector<std::string>& arguments);
