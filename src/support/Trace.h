// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one place that logs.
#pragma once

#include <ovexcommon/TraceClient.h>

/// The levels that the library logs at.
enum class TraceLevel : int {
    Detail = 2,   ///< URLs and libcurl's own lines
    Progress = 3, ///< progress and information
    Error = 5     ///< failures
};

/// The module number of this library in the platform's log.
constexpr int TRACE_MODULE = 1;

/// Whether messages of this level are produced; they are not when the log cannot tell.
inline bool TraceEnabled(TraceLevel level) noexcept {
    try {
        return Ovexcommon::TraceClient::Instance()->checkValid(static_cast<int>(level), TRACE_MODULE);
    } catch (...) {
        return false;
    }
}

/// Logs a message, printf-style. A message that cannot be produced (memory exhausted, say) is lost: logging
/// never changes what a request does.
template <typename... Args> void Trace(TraceLevel level, const char* format, Args... args) noexcept {
    try {
        if (!TraceEnabled(level)) {
            return;
        }
        Ovexcommon::TraceClient* client = Ovexcommon::TraceClient::Instance();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security" // each caller's format is a literal
        client->trace(static_cast<int>(level), TRACE_MODULE, client->setBody(format, args...));
#pragma GCC diagnostic pop
    } catch (...) {
        return;
    }
}
