// SPDX-License-Identifier: Apache-2.0
#include "client/CurlCallbacks.h"

#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "client/LibcurlLine.h"
#include "client/TlsConnecting.h"
#include "support/Cancellation.h"
#include "support/Trace.h"

namespace {

constexpr size_t WRITE_ERROR = static_cast<size_t>(-1);

thread_local bool t_writeWithoutMemory = false;

/// The product, or the largest number there is, which no string can take.
size_t SaturatingProduct(size_t size, size_t count) {
    size_t product = 0;
    return __builtin_mul_overflow(size, count, &product) ? std::numeric_limits<size_t>::max() : product;
}

void LogText(const char* text) {
    try {
        const std::optional<std::string> shortened = WithoutSecrets(text);
        Trace<LogMessage::CurlSays>(shortened ? shortened->c_str() : text);
    } catch (const std::bad_alloc&) {
        return; // without memory there is no log either
    }
}

} // namespace

size_t OnCurlWrite(char* data, size_t size, size_t count, void* user) {
    if (data == nullptr || user == nullptr) {
        return WRITE_ERROR;
    }
    try {
        auto& text = *static_cast<std::string*>(user);
        text.append(data, SaturatingProduct(size, count));
    } catch (const std::bad_alloc&) {
        t_writeWithoutMemory = true;
        return WRITE_ERROR; // an exception that crossed libcurl would leave the handle unusable
    }
    return count;
}

bool TakeWriteWithoutMemory() noexcept {
    return std::exchange(t_writeWithoutMemory, false);
}

int OnCurlDebug(CURL* /*curl*/, curl_infotype type, char* data, size_t size, void* /*user*/) {
    if (type == CURLINFO_TEXT) {
        const CancellationBlock block; // amid a callback libcurl could not be tidied up
        if (TraceEnabled(TraceLevel::Detail)) {
            LogText(data);
        }
    }
    TlsConnecting::Hear(type, data, size);
    return 0;
}
