// SPDX-License-Identifier: Apache-2.0
// The platform's logging service, once more: linked into an executable, it takes the place of
// the platform's own.
#include <cstdarg>
#include <cstdio>

#include <ovexcommon/TraceClient.h>

#include <httpclient/testing/RecordingTrace.h>

namespace Ovexcommon {

using httpclient::testing::TraceRecorder;

TraceClient* TraceClient::Instance() {
    static auto* const client = new TraceClient;
    return client;
}

bool TraceClient::checkValid(int level, int /*module*/) {
    return TraceRecorder::Instance().Lets(level);
}

std::string TraceClient::setBody(const char* format, ...) {
    TraceRecorder::Instance().CountFormatted();
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string body(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    std::vsnprintf(body.data(), body.size() + 1, format, again);
    va_end(again);
    return body;
}

void TraceClient::trace(int level, int module, const std::string& body) {
    TraceRecorder::Instance().Record(level, module, body);
}

} // namespace Ovexcommon
