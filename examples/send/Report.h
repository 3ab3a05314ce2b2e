// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>

#include "send/Load.h"
#include "send/Options.h"
#include "send/Sender.h"

namespace sender {

/// What the program tells its caller's script.
enum ExitCode : int {
    EXIT_OK = 0,
    EXIT_NO_ANSWER = 1,
    EXIT_USAGE = 2,
    EXIT_OUTPUT = 3,
    EXIT_CLIENT_ERROR = 4, ///< 4xx
    EXIT_SERVER_ERROR = 5, ///< 5xx
};

ExitCode ExitCodeOf(const Outcome& outcome);
/// The worst of all: no answer, then 5xx, then 4xx. A run without any request is no answer.
ExitCode ExitCodeOf(const Tally& tally);

/// One line: status, length, type, character set and time; or that there was no answer, from where, and why if
/// that is known; or that it was refused.
std::string Describe(const Outcome& outcome, const Target& target);
/// Counts, rates and times, a few lines.
std::string Describe(const LoadResult& result, const Options& options);

/// Writes a text to a file, or to standard output where there is no name of one.
/// @throw OutputError when it cannot be written in full.
void WriteText(const std::string& text, const std::string& fileName, std::ostream& standardOutput);

/// Writes the answer where the options want it.
/// @param standardOutput for when they name no file.
/// @throw OutputError when it cannot be written in full.
void WriteAnswer(const Outcome& outcome, const Options& options, std::ostream& standardOutput);

} // namespace sender
