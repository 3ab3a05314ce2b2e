// SPDX-License-Identifier: Apache-2.0
/// @file
/// The platform's logging service.
#pragma once

#include <string>

namespace Ovexcommon {

/// Writes log lines. Safe from any number of threads.
class __attribute__((visibility("default"))) TraceClient {
public:
    /// @return the process's logging service; never null, never destroyed.
    static TraceClient* Instance();
    /// @return whether a message of this level and module would be produced.
    bool checkValid(int level, int module);
    /// Formats a message, printf-style, of any length.
    std::string setBody(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Produces a message.
    void trace(int level, int module, const std::string& body);
};

} // namespace Ovexcommon
