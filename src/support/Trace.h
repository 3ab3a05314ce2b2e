// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one place that logs.
#pragma once

#include <ovexcommon/TraceClient.h>

#include "support/Messages.h"

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

/// Logs a message; the arguments are those of its text. A message that cannot be produced (memory exhausted,
/// say) is lost: logging never changes what a request does.
template <typename... Args> void Trace(LogMessage message, Args... args) noexcept {
    try {
        const LogMessageRow& row = RowOf(message);
        if (!TraceEnabled(row.level)) {
            return;
        }
        Ovexcommon::TraceClient* client = Ovexcommon::TraceClient::Instance();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security" // the table's texts are literals
        client->trace(static_cast<int>(row.level), TRACE_MODULE, client->setBody(row.text, args...));
#pragma GCC diagnostic pop
    } catch (...) {
        return;
    }
}
