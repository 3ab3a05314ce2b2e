// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts the system calls of a program's first thread.
#pragma once

#include <map>
#include <string>
#include <vector>

using SystemCallsByName = std::map<std::string, double>;

/// @return whether this process may watch its children, which some containers forbid.
bool MayCountSystemCalls();

/// Runs a program and counts what its first thread asks of the kernel; its output is thrown away.
/// @throw std::runtime_error when it cannot be run, or fails.
SystemCallsByName CountSystemCalls(const std::vector<std::string>& command);
