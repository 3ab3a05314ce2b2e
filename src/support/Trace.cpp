// SPDX-License-Identifier: Apache-2.0
#include "support/Trace.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>

#include <ovexcommon/TraceClient.h>

#include "support/Cancellation.h"

namespace {

/// The module number of this library in the platform's log.
constexpr int TRACE_MODULE = 1;

constexpr std::size_t USUAL_TEXT = 1024;

/// The platform's setBody() takes arguments and no list of them: it is given the finished text.
void Produce(TraceLevel level, const char* text) {
    Ovexcommon::TraceClient* client = Ovexcommon::TraceClient::Instance();
    client->trace(static_cast<int>(level), TRACE_MODULE, client->setBody("%s", text));
}

/// @param size that of the finished text.
__attribute__((format(printf, 3, 0))) void ProduceLong(TraceLevel level, std::size_t size, const char* format,
                                                       va_list arguments) {
    std::string text(size, '\0');
    static_cast<void>(std::vsnprintf(text.data(), size + 1, format, arguments));
    Produce(level, text.c_str());
}

__attribute__((format(printf, 2, 0))) void Produce(TraceLevel level, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    char text[USUAL_TEXT];
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): TraceText() has begun it, which clang loses in the lambda
    const int size = std::vsnprintf(text, sizeof text, format, arguments);
    if (size >= 0 && static_cast<std::size_t>(size) < sizeof text) {
        Produce(level, text);
    } else if (size >= 0) {
        ProduceLong(level, static_cast<std::size_t>(size), format, again);
    }
    va_end(again);
}

} // namespace

bool TraceEnabled(TraceLevel level) {
    bool enabled = false;
    return Contained([&] {
               enabled =
                   Ovexcommon::TraceClient::Instance()->checkValid(static_cast<int>(level), TRACE_MODULE);
           }) &&
           enabled;
}

void TraceText(TraceLevel level, const char* format, ...) {
    const BlockWithinHandler block; // first: checkValid() may be a cancellation point, too
    if (!TraceEnabled(level)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(Contained([&] { Produce(level, format, arguments); }));
    va_end(arguments);
}
