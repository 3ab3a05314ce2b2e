// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the library logged.
#pragma once

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// Starts a new log that takes every level.
void StartLog();
/// @return the messages that this thread has logged so far, in order, as in "[5] text": those of this level
///         and above.
Lines Logged(int lowestLevel = 3);
