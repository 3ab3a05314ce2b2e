// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs the tool on a terminal, with somebody who types.
#pragma once

#include <string>
#include <vector>

#include "ToolRun.h"

/// What is typed, and the prompt that it waits for.
struct Typed {
    std::string prompt;
    std::string text;
};

struct TerminalResult {
    int exitCode = -1;      ///< -1 when a signal ended it.
    std::string screen;     ///< All that the terminal showed, echo included.
    bool echoAtEnd = false; ///< Whether the terminal echoes again after the tool's end.
    int hiddenPrompts = 0;  ///< At how many prompts the terminal did not echo.
};

/// Runs the tool on a terminal of its own. Each text is typed once its prompt is shown and echo is off.
TerminalResult RunOnTerminal(const std::vector<std::string>& arguments, const Variables& variables,
                             const std::vector<Typed>& typed);
