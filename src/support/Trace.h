// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one place that logs.
#pragma once

/// The levels that the library logs at.
enum class TraceLevel : int {
    Detail = 2,   ///< URLs and libcurl's own lines
    Progress = 3, ///< progress and information
    Error = 5     ///< failures
};

/// Whether messages of this level are produced; they are not when the log cannot tell.
bool TraceEnabled(TraceLevel level);

/// Logs a message, printf-style: the compiler compares the format with its arguments. A message that cannot
/// be produced (memory exhausted, say) is lost: logging never changes what a request does. Throws nothing,
/// but a thread may be cancelled in it.
void Trace(TraceLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));
