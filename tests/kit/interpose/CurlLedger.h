// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the held functions of libcurl note their calls and ask what to do.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "interpose/CurlRecorder.h"

namespace httpclient::testing {

/// Where the held functions of libcurl note their calls and ask what to do. Safe from any number of threads.
class CurlLedger {
public:
    static CurlLedger& Instance();

    void Begin();
    void End();
    void Clear();
    void Force(CurlCall call, int result, std::size_t n);
    void ForceOption(CURLoption option, CURLcode result);
    void At(CurlCall call, std::function<void()> hook);
    std::vector<CurlEvent> Events() const;

    /// @return the outcome that is forced upon this call, if any. Counts the call.
    std::optional<int> Forced(CurlCall call);
    /// @return the outcome that is forced upon this setting, if any. Counts the call.
    std::optional<int> ForcedOption(CURLoption option);
    /// Notes a call once its outcome is known.
    void Note(CurlEvent event);
    /// Takes the memory for the next note.
    void MakeRoom();

private:
    CurlLedger() = default;

    mutable std::mutex m_mutex;
    bool m_held = false;
    std::vector<CurlEvent> m_events;
    std::map<CurlCall, std::size_t> m_counts;
    std::map<std::pair<CurlCall, std::size_t>, int> m_forced; // by function and number of the call
    std::map<CURLoption, int> m_forcedOptions;
    std::map<CurlCall, std::function<void()>> m_hooks;
};

/// Marks this thread as being within libcurl, which calls some of its own public functions: those calls are
/// none of the caller's, and are neither noted nor forced.
class WithinLibcurl {
public:
    WithinLibcurl() { ++m_depth; }
    ~WithinLibcurl() { --m_depth; }
    WithinLibcurl(const WithinLibcurl&) = delete;
    WithinLibcurl& operator=(const WithinLibcurl&) = delete;
    static bool Now() { return m_depth > 0; }

private:
    static thread_local int m_depth;
};

/// Calls the real function.
template <class Real> auto Call(const Real& real) -> decltype(real()) {
    const WithinLibcurl within;
    return real();
}

/// Does one call of a function that returns a code: forced or real, and noted.
template <class Result, class Real>
Result HoldCode(CurlEvent event, std::optional<int> forced, const Real& real) {
    event.forced = forced.has_value();
    const Result result = forced ? static_cast<Result>(*forced) : Call(real);
    event.result = static_cast<int>(result);
    CurlLedger::Instance().Note(std::move(event));
    return result;
}

/// Does one call of a function that makes a handle or a list: null when forced, and noted.
template <class Real> auto HoldMaker(CurlEvent event, const Real& real) -> decltype(real()) {
    event.forced = CurlLedger::Instance().Forced(event.call).has_value();
    CurlLedger::Instance().MakeRoom(); // when memory is refused, then before there is a handle to lose
    const auto made = event.forced ? nullptr : Call(real);
    event.handle = made;
    CurlLedger::Instance().Note(std::move(event));
    return made;
}

/// Does one call of a function that returns nothing, unless it is forced not to, and notes it first: its
/// handle may be gone afterwards.
template <class Real> void HoldVoid(CurlEvent event, const Real& real) {
    const bool forced = CurlLedger::Instance().Forced(event.call).has_value();
    event.forced = forced;
    CurlLedger::Instance().Note(std::move(event));
    if (!forced) {
        Call(real);
    }
}

/// @return the event of a call with this handle.
inline CurlEvent EventOf(CurlCall call, const void* handle = nullptr) {
    CurlEvent event;
    event.call = call;
    event.handle = handle;
    return event;
}

} // namespace httpclient::testing
