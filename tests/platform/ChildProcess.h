// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs test code in a process of its own, for what happens once per process: reading the environment, and
/// the end.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

using Environment = std::map<std::string, std::string>;

struct ChildResult {
    bool succeeded = false;    ///< It exited by itself, with status 0 and without a failed expectation.
    std::string standardError; ///< All that it wrote there.
    std::vector<std::string> lines() const; ///< standardError, line by line.
};

/// Runs the body in a forked child whose environment has these variables and no other of the trace's.
/// This process must have neither threads nor used the service that the child is to see fresh.
ChildResult RunInChild(const Environment& environment, const std::function<void()>& body);

/// @return the lines of a text, without their ends.
std::vector<std::string> SplitLines(const std::string& text);
