// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one place that logs.
#pragma once

#include "support/Messages.h"

/// Whether messages of this level are produced; they are not when the log cannot tell.
bool TraceEnabled(TraceLevel level);

/// Logs a text, printf-style; for Trace(), which names a message. A message that cannot be produced (memory
/// exhausted, say) is lost: logging never changes what a request does. Throws nothing, but a thread may be
/// cancelled in it.
void TraceText(TraceLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Logs a message; the arguments are those of its text, which the compiler compares.
template <LogMessage MESSAGE, typename... Args> void Trace(Args... args) {
    constexpr TraceLevel LEVEL = RowOf(MESSAGE).level;
    constexpr const char* TEXT = RowOf(MESSAGE).text;
    TraceText(LEVEL, TEXT, args...);
}

/// Logs a message without arguments, one that is not known before.
inline void Trace(LogMessage message) {
    TraceText(RowOf(message).level, "%s", RowOf(message).text);
}
