// SPDX-License-Identifier: Apache-2.0
// The fallible calls into libcurl.
#ifndef CURL_DISABLE_TYPECHECK
#define CURL_DISABLE_TYPECHECK // the checks are macros around the very functions that are held here
#endif
#include <cstdarg>

#include <curl/curl.h>

#include "FaultLedger.h"
#include "interpose/Next.h"

using fault_ledger::Refuses;
using httpclient::testing::Next;

namespace {

using SetOption = CURLcode(CURL*, CURLoption, ...);

SetOption* RealSetOption() {
    static auto* const next = Next<SetOption>("curl_easy_setopt");
    return next;
}

/// libcurl copies texts, for which memory may run out; other pointers it only keeps, which cannot fail.
bool IsCopied(CURLoption option) {
    const curl_easyoption* known = curl_easy_option_by_id(option);
    return known != nullptr && known->type == CURLOT_STRING;
}

bool IsNumber(CURLoption option) {
    return static_cast<int>(option) < CURLOPTTYPE_OBJECTPOINT;
}

CURLcode SetNumber(CURL* handle, CURLoption option, long value) {
    return Refuses(Fault::CurlOption) ? CURLE_UNKNOWN_OPTION : RealSetOption()(handle, option, value);
}

CURLcode SetPointer(CURL* handle, CURLoption option, void* value) {
    if (!IsCopied(option) || !Refuses(Fault::CurlOption)) {
        return RealSetOption()(handle, option, value);
    }
    RealSetOption()(handle, option, nullptr); // the old text is gone by the time that the copy fails
    return CURLE_OUT_OF_MEMORY;
}

} // namespace

extern "C" {

CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    va_start(arguments, option); // NOLINT(clang-diagnostic-varargs): libcurl declares it so
    const CURLcode result = IsNumber(option) ? SetNumber(handle, option, va_arg(arguments, long))
                                             : SetPointer(handle, option, va_arg(arguments, void*));
    va_end(arguments);
    return result;
}

CURL* curl_easy_init() {
    static auto* const next = Next<CURL*()>("curl_easy_init");
    return Refuses(Fault::CurlHandle) ? nullptr : next();
}

CURLM* curl_multi_init() {
    static auto* const next = Next<CURLM*()>("curl_multi_init");
    return Refuses(Fault::CurlHandle) ? nullptr : next();
}

curl_slist* curl_slist_append(curl_slist* list, const char* line) {
    static auto* const next = Next<curl_slist*(curl_slist*, const char*)>("curl_slist_append");
    return Refuses(Fault::CurlList) ? nullptr : next(list, line);
}

} // extern "C"
