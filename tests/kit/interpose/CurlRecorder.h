// SPDX-License-Identifier: Apache-2.0
/// @file
/// Records the calls into libcurl and makes them fail: link httpclient_interpose_curl.
#pragma once

// The type checks of <curl/curl.h> are macros around the very functions that are held here.
#ifndef CURL_DISABLE_TYPECHECK
#define CURL_DISABLE_TYPECHECK
#endif

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <curl/curl.h>

namespace httpclient::testing {

/// The functions of libcurl that are held.
enum class CurlCall {
    EasyInit,
    EasySetopt,
    EasyPerform,
    EasyGetinfo,
    EasyReset,
    EasyCleanup,
    MultiInit,
    MultiAddHandle,
    MultiPerform,
    MultiTimeout,
    MultiFdset,
    MultiRemoveHandle,
    MultiCleanup,
    SlistAppend,
    SlistFreeAll,
};

/// One call into libcurl.
struct CurlEvent {
    CurlCall call = CurlCall::EasyInit;
    const void* handle = nullptr; ///< Easy or multi handle, or list, that it was called with or that it made.
    const void* other = nullptr;  ///< The easy handle of the calls that add or remove one.
    CURLoption option = CURLOPT_LASTENTRY; ///< Of EasySetopt.
    CURLINFO info = CURLINFO_NONE;         ///< Of EasyGetinfo.
    std::optional<long long> number;       ///< A numeric option's value.
    std::optional<std::string> text; ///< A copy of a text option's value (the body's included), if not null.
    const void* pointer = nullptr;   ///< Any pointer option's value, functions included.
    int result = 0;                  ///< The code that the call returned; 0 when it returns none.
    bool forced = false;             ///< Whether the outcome was forced, and libcurl not called.
    std::thread::id thread;
};

/// While it lives, records the calls of the whole process into libcurl, in one order, and can force their
/// outcomes. The calls that libcurl makes within itself (and those of its callbacks) are left alone. One at a
/// time. Safe from any thread.
class CurlRecorder {
public:
    CurlRecorder();
    ~CurlRecorder();
    CurlRecorder(const CurlRecorder&) = delete;
    CurlRecorder& operator=(const CurlRecorder&) = delete;

    /// The @p n-th call of this function from now on (counted from 1) is not made. It yields @p result, or
    /// null where a handle or list is wanted; nothing at all where there is no result.
    void Force(CurlCall call, int result = 1, std::size_t n = 1);
    /// From now on every setting of this option is not made and yields @p result; 0 ends that.
    void ForceOption(CURLoption option, CURLcode result);

    /// Has a function called at each call of this function, on the caller's thread: before it where it
    /// returns nothing, after it elsewhere. To be set before there are such calls.
    void At(CurlCall call, std::function<void()> hook);

    /// Forgets the calls, not what is forced.
    void Clear();
    /// All calls so far, in order.
    std::vector<CurlEvent> Events() const;
    /// The calls of one function so far, in order.
    std::vector<CurlEvent> Events(CurlCall call) const;
    /// The options that were set so far on any handle, in order.
    std::vector<CURLoption> Options() const;
    /// The last setting of an option.
    std::optional<CurlEvent> Last(CURLoption option) const;
};

} // namespace httpclient::testing
