// SPDX-License-Identifier: Apache-2.0
// The reference platform's logging service. Environment, read once: OVEX_TRACE_LEVEL is the lowest level that
// is produced (2, 3 or 5), OVEX_TRACE_FILE a file that is written instead of standard error.
#include "ovexcommon/TraceClient.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <pthread.h>

#include "TraceOutput.h"
#include "TraceText.h"

namespace Ovexcommon {

namespace {

constexpr int DEFAULT_LEVEL = 5;

// Outside the object, and constant-initialised, so that checkValid is this one load and nothing else.
std::atomic<int> g_lowestLevel{DEFAULT_LEVEL};

// Plain getenv: a process may replace OvexCommonUtils by a version of its own that logs.
std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

int LevelFromEnvironment() {
    const std::string level = Environment("OVEX_TRACE_LEVEL");
    if (level == "2" || level == "3" || level == "5") {
        return level.front() - '0';
    }
    return DEFAULT_LEVEL;
}

// Never destroyed, so that threads that outlive main may still log.
TraceOutput& Output() {
    static TraceOutput* const output =
        new TraceOutput(Environment("OVEX_TRACE_FILE"), std::chrono::system_clock::now());
    return *output;
}

/// While it lives, a cancellation of this thread waits: a line is written whole, and what writes it is not
/// made to be cancelled.
class CancelBlock {
public:
    CancelBlock() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_former); }
    ~CancelBlock() { pthread_setcancelstate(m_former, nullptr); }
    CancelBlock(const CancelBlock&) = delete;
    CancelBlock& operator=(const CancelBlock&) = delete;

private:
    int m_former = PTHREAD_CANCEL_ENABLE;
};

__attribute__((format(printf, 1, 0))) std::string FormatText(const char* format, va_list arguments) {
    char shortText[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(shortText, sizeof shortText, format, arguments);
    std::string text;
    if (length > 0 && static_cast<std::size_t>(length) < sizeof shortText) {
        text.assign(shortText, static_cast<std::size_t>(length));
    } else if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        (void)std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

} // namespace

TraceClient* TraceClient::Instance() {
    static TraceClient* const instance = [] {
        const CancelBlock block;
        g_lowestLevel.store(LevelFromEnvironment(), std::memory_order_relaxed);
        Output();
        return new TraceClient;
    }();
    return instance;
}

bool TraceClient::checkValid(int level, int /*module*/) {
    return level >= g_lowestLevel.load(std::memory_order_relaxed);
}

std::string TraceClient::setBody(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = FormatText(format, arguments);
    va_end(arguments);
    return text;
}

void TraceClient::trace(int level, int module, const std::string& body) {
    if (!checkValid(level, module)) {
        return;
    }
    const CancelBlock block;
    try {
        Output().write(std::chrono::system_clock::now(), TraceLine(level, module, body));
    } catch (...) { // NOLINT(bugprone-empty-catch)
        // Out of memory, at most: logging has nobody to tell and must not end the work that it describes.
    }
}

} // namespace Ovexcommon
