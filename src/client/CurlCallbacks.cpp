// SPDX-License-Identifier: Apache-2.0
#include "client/CurlCallbacks.h"

#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "client/ExpectedBody.h"
#include "support/Cancellation.h"
#include "support/PiecewiseCopy.h"
#include "support/Trace.h"

namespace {

constexpr size_t WRITE_ERROR = static_cast<size_t>(-1);
constexpr size_t LONG_PIECE = 4096;

/// The product, or the largest number there is, which no string can take.
size_t SaturatingProduct(size_t size, size_t count) {
    size_t product = 0;
    return __builtin_mul_overflow(size, count, &product) ? std::numeric_limits<size_t>::max() : product;
}

/// The server's word may be wrong: only what arrives must find memory.
void TryToReserve(std::string& text, size_t size) {
    try {
        text.reserve(size);
    } catch (const std::bad_alloc&) {
        return;
    }
}

// Apart, so that the many short pieces pay nothing for it.
[[gnu::noinline]] void ReceiveLong(std::string& text, const char* data, size_t bytes) {
    // A first piece this long may be one of many: room for them all saves moving them as the text grows.
    if (text.empty()) {
        TryToReserve(text, ExpectedBody::Size());
    }
    AppendInPieces(text, data, bytes);
}

/// Over HTTP/2 libcurl repeats the header lines that it sends as informational text: "h2h3 [name: value]", in
/// later versions "[HTTP/2] [1] [name: value]".
/// @return where the value begins; null in any other text.
const char* RepeatedHeaderValue(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    if (std::strncmp(text, "h2h3 [", 6) != 0 && std::strncmp(text, "[HTTP/", 6) != 0) {
        return nullptr;
    }
    const char* separator = std::strstr(text, ": ");
    return separator != nullptr ? separator + 2 : nullptr;
}

void LogText(const char* text) {
    try {
        const char* value = RepeatedHeaderValue(text);
        // A header's value may be a token, and no header is logged over HTTP/1.1 either.
        const std::string shortened = value != nullptr ? std::string(text, value) + "...]\n" : "";
        Trace(TraceLevel::Detail, "== Info: %s", value != nullptr ? shortened.c_str() : text);
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
        const size_t bytes = SaturatingProduct(size, count);
        if (bytes < LONG_PIECE) {
            text.append(data, bytes);
        } else {
            ReceiveLong(text, data, bytes);
        }
    } catch (const std::bad_alloc&) {
        return WRITE_ERROR; // an exception that crossed libcurl would leave the handle unusable
    }
    return count;
}

int OnCurlDebug(CURL* /*curl*/, curl_infotype type, char* data, size_t /*size*/, void* /*user*/) {
    const CancelBlock block; // amid a callback libcurl could not be tidied up
    if (type == CURLINFO_TEXT && TraceEnabled(TraceLevel::Detail)) {
        LogText(data);
    }
    return 0;
}
