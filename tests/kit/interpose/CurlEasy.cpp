// SPDX-License-Identifier: Apache-2.0
// Holds the easy interface of libcurl.
#include <cstdarg>

#include "interpose/CurlLedger.h"
#include "interpose/Next.h"

using namespace httpclient::testing;

namespace {

bool IsText(CURLoption option) {
    // The body is libcurl's only text option that is not of type string: libcurl keeps the pointer alone.
    if (option == CURLOPT_POSTFIELDS) {
        return true;
    }
    const curl_easyoption* known = curl_easy_option_by_id(option);
    return known != nullptr && known->type == CURLOT_STRING;
}

bool IsBelow(CURLoption option, int nextRange) {
    return static_cast<int>(option) < nextRange;
}

bool IsNumber(CURLoption option) {
    return IsBelow(option, CURLOPTTYPE_OBJECTPOINT);
}

bool IsOffset(CURLoption option) {
    return !IsBelow(option, CURLOPTTYPE_OFF_T) && IsBelow(option, CURLOPTTYPE_BLOB);
}

CurlEvent SettingOf(CURL* handle, CURLoption option) {
    CurlEvent event = EventOf(CurlCall::EasySetopt, handle);
    event.option = option;
    return event;
}

// A setting of one C type: T is what the variable argument was.
template <class T> CURLcode Set(CURL* handle, CURLoption option, T value, CurlEvent event) {
    static auto* const next = Next<CURLcode(CURL*, CURLoption, ...)>("curl_easy_setopt");
    return HoldCode<CURLcode>(std::move(event), CurlLedger::Instance().ForcedOption(option),
                              [&] { return next(handle, option, value); });
}

template <class T> CURLcode SetNumber(CURL* handle, CURLoption option, T value) {
    CurlEvent event = SettingOf(handle, option);
    event.number = value;
    return Set(handle, option, value, std::move(event));
}

CURLcode SetPointer(CURL* handle, CURLoption option, void* value) {
    CurlEvent event = SettingOf(handle, option);
    event.pointer = value;
    if (value != nullptr && IsText(option)) {
        event.text = static_cast<const char*>(value);
    }
    return Set(handle, option, value, std::move(event));
}

} // namespace

extern "C" {

CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    va_start(arguments, option); // NOLINT(clang-diagnostic-varargs): libcurl declares it so
    CURLcode result = CURLE_OK;
    if (IsNumber(option)) { // NOLINT(bugprone-branch-clone): the types differ
        result = SetNumber(handle, option, va_arg(arguments, long));
    } else if (IsOffset(option)) {
        result = SetNumber(handle, option, va_arg(arguments, curl_off_t));
    } else {
        result = SetPointer(handle, option, va_arg(arguments, void*));
    }
    va_end(arguments);
    return result;
}

CURLcode curl_easy_getinfo(CURL* handle, CURLINFO info, ...) {
    static auto* const next = Next<CURLcode(CURL*, CURLINFO, ...)>("curl_easy_getinfo");
    va_list arguments;
    va_start(arguments, info);
    void* const result = va_arg(arguments, void*);
    va_end(arguments);
    CurlEvent event = EventOf(CurlCall::EasyGetinfo, handle);
    event.info = info;
    event.pointer = result;
    return HoldCode<CURLcode>(std::move(event), CurlLedger::Instance().Forced(CurlCall::EasyGetinfo),
                              [&] { return next(handle, info, result); });
}

CURL* curl_easy_init() {
    static auto* const next = Next<CURL*()>("curl_easy_init");
    return HoldMaker(EventOf(CurlCall::EasyInit), [] { return next(); });
}

CURLcode curl_easy_perform(CURL* handle) {
    static auto* const next = Next<CURLcode(CURL*)>("curl_easy_perform");
    return HoldCode<CURLcode>(EventOf(CurlCall::EasyPerform, handle),
                              CurlLedger::Instance().Forced(CurlCall::EasyPerform),
                              [handle] { return next(handle); });
}

void curl_easy_reset(CURL* handle) {
    static auto* const next = Next<void(CURL*)>("curl_easy_reset");
    HoldVoid(EventOf(CurlCall::EasyReset, handle), [handle] { next(handle); });
}

void curl_easy_cleanup(CURL* handle) {
    static auto* const next = Next<void(CURL*)>("curl_easy_cleanup");
    HoldVoid(EventOf(CurlCall::EasyCleanup, handle), [handle] { next(handle); });
}

} // extern "C"
