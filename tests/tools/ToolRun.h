// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs the tool as a program of its own.
#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"

using httpclient::testing::Variables;
using ToolResult = httpclient::testing::Ended;

/// The tool with these arguments, these environment variables and no others of its own.
httpclient::testing::Command ToolCommand(const std::vector<std::string>& arguments,
                                         const Variables& variables);

/// Runs it with this text on standard input, in this directory ("" for the current one).
ToolResult RunTool(const std::vector<std::string>& arguments, const Variables& variables,
                   const std::string& input = "", const std::string& directory = "");
