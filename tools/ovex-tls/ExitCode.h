// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the tool ends. Scripts rely on these numbers; the manual page lists them.
#pragma once

enum ExitCode : int {
    EXIT_WELL = 0,     ///< Done; for `check`: nothing to complain about.
    EXIT_WARNINGS = 1, ///< `check` found warnings, but no errors.
    EXIT_ERRORS = 2,   ///< `check` found errors.
    EXIT_FAILED = 3,   ///< The command could not do its work.
    EXIT_MISUSED = 64  ///< The command line is wrong.
};
