// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs the tool as a program of its own.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

using Variables = std::map<std::string, std::string>;

struct ToolResult {
    int exitCode = -1; ///< -1 when a signal ended it.
    std::string out;   ///< Standard output.
    std::string err;   ///< Standard error.
};

/// Runs the tool with these arguments, these environment variables and no others of its own, this text on
/// standard input, in this directory ("" for the current one).
ToolResult RunTool(const std::vector<std::string>& arguments, const Variables& variables,
                   const std::string& input = "", const std::string& directory = "");

/// In a new child: becomes the tool. Never comes back.
[[noreturn]] void BecomeTool(const std::vector<std::string>& arguments, const Variables& variables);

/// Waits until a child has ended. @return its exit code, -1 when a signal ended it.
int WaitForEnd(pid_t child);
