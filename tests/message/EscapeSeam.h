// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds libcurl's escaping and the platform's zeroing of buffers: the executable's own functions stand
/// before those of the libraries, forward to them, and note the calls while a seam lives.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// While it lives, notes the calls of curl_easy_escape(), curl_easy_unescape() and curl_free(). One at a
/// time, on one thread.
class EscapeSeam {
public:
    struct Call {
        std::string function;
        const void* handle = nullptr;
        std::string text; ///< As many bytes of it as the call gave.
        const void* result = nullptr;
        bool wantsLength = false; ///< Of curl_easy_unescape(): whether it is to say how long the result is.
    };

    EscapeSeam();
    ~EscapeSeam();
    EscapeSeam(const EscapeSeam&) = delete;
    EscapeSeam& operator=(const EscapeSeam&) = delete;

    /// From now on libcurl is not called and the answer is null.
    void Fail() { m_fails = true; }
    bool Fails() const { return m_fails; }
    /// The calls, in order.
    const std::vector<Call>& Calls() const { return m_calls; }
    /// The texts that curl_free() got, in order.
    const std::vector<const void*>& Freed() const { return m_freed; }

    /// @cond INTERNAL
    static EscapeSeam* Current();
    void Note(Call call) { m_calls.push_back(std::move(call)); }
    void NoteFree(const void* text) { m_freed.push_back(text); }
    /// @endcond

private:
    bool m_fails = false;
    std::vector<Call> m_calls;
    std::vector<const void*> m_freed;
};

/// While it lives, notes the calls of memset_s(). One at a time, on one thread.
class ZeroingSeam {
public:
    struct Call {
        std::size_t room;
        int byte;
        std::size_t count;
    };

    ZeroingSeam();
    ~ZeroingSeam();
    ZeroingSeam(const ZeroingSeam&) = delete;
    ZeroingSeam& operator=(const ZeroingSeam&) = delete;

    /// The calls, in order.
    const std::vector<Call>& Calls() const { return m_calls; }

    /// @cond INTERNAL
    static ZeroingSeam* Current();
    void Note(Call call) { m_calls.push_back(call); }
    /// @endcond

private:
    std::vector<Call> m_calls;
};
