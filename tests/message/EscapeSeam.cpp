// SPDX-License-Identifier: Apache-2.0
#include "EscapeSeam.h"

#include <curl/curl.h>

#include <ovexcommon/SecureMem.h>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

// Thread-local: while a seam lives, other threads go their usual way.
thread_local EscapeSeam* g_escape = nullptr;
thread_local ZeroingSeam* g_zeroing = nullptr;

/// Notes a call and makes it, unless it is to fail.
template <class Real> char* Held(EscapeSeam::Call call, const Real& real) {
    EscapeSeam* const seam = EscapeSeam::Current();
    char* const result = seam != nullptr && seam->Fails() ? nullptr : real();
    call.result = result;
    if (seam != nullptr) {
        seam->Note(std::move(call));
    }
    return result;
}

std::string TextOf(const char* text, int length) {
    return std::string(text, static_cast<std::size_t>(length));
}

} // namespace

EscapeSeam::EscapeSeam() {
    g_escape = this;
}
EscapeSeam::~EscapeSeam() {
    g_escape = nullptr;
}
EscapeSeam* EscapeSeam::Current() {
    return g_escape;
}

ZeroingSeam::ZeroingSeam() {
    g_zeroing = this;
}
ZeroingSeam::~ZeroingSeam() {
    g_zeroing = nullptr;
}
ZeroingSeam* ZeroingSeam::Current() {
    return g_zeroing;
}

extern "C" {

char* curl_easy_escape(CURL* handle, const char* text, int length) {
    static auto* const next = Next<char*(CURL*, const char*, int)>("curl_easy_escape");
    return Held({"curl_easy_escape", handle, TextOf(text, length), nullptr, false},
                [&] { return next(handle, text, length); });
}

char* curl_easy_unescape(CURL* handle, const char* text, int length, int* outLength) {
    static auto* const next = Next<char*(CURL*, const char*, int, int*)>("curl_easy_unescape");
    return Held({"curl_easy_unescape", handle, TextOf(text, length), nullptr, outLength != nullptr},
                [&] { return next(handle, text, length, outLength); });
}

void curl_free(void* text) {
    static auto* const next = Next<void(void*)>("curl_free");
    if (EscapeSeam* const seam = EscapeSeam::Current()) {
        seam->NoteFree(text);
    }
    next(text);
}

int memset_s(void* dest, std::size_t destMax, int c, std::size_t count) {
    static auto* const next = Next<int(void*, std::size_t, int, std::size_t)>("memset_s");
    if (ZeroingSeam* const seam = ZeroingSeam::Current()) {
        seam->Note({destMax, c, count});
    }
    return next(dest, destMax, c, count);
}

} // extern "C"
