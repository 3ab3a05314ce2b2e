// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a program asks of the kernel.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace httpclient::testing {

/// One system call.
struct SystemCall {
    int thread; ///< 0: the program's first one; the others in the order of their beginnings
    std::string name;
};

using SystemCallsByName = std::map<std::string, double>;

/// @return whether this process may watch its children, which some containers forbid.
bool MayWatchSystemCalls();

/// Runs a program and notes what its first thread, or all of them, ask of the kernel, in order; its output is thrown
/// away. Meanwhile this process has no other children.
/// @throw std::runtime_error when it cannot be run, or fails.
std::vector<SystemCall> WatchSystemCalls(const std::vector<std::string>& command, bool allThreads);

/// Counts those of the program's first thread, or of all.
SystemCallsByName CountSystemCalls(const std::vector<std::string>& command, bool allThreads);

} // namespace httpclient::testing
