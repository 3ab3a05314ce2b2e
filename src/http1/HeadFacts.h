// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the fields of an answer's head mean for its reader: framing, coding, and whether the connection is kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "http1/GrammarError.h"

namespace httpclient::http1 {

/// The codings of a body that the reader can undo.
enum class ContentCoding { None, Gzip, Deflate };

/// Takes the fields that matter, in their order, and is then asked.
class HeadFacts {
public:
    int version = 11; ///< 10 or 11

    GrammarError TakeContentLength(std::string_view value) noexcept;
    GrammarError TakeTransferEncoding(std::string_view value) noexcept;
    void TakeConnection(std::string_view value) noexcept;
    void TakeKeepAlive(std::string_view value) noexcept;
    void TakeContentEncoding(std::string_view value) noexcept;
    /// Looks at all of them together, after the last.
    GrammarError Check() const noexcept;

    bool chunked() const noexcept { return m_chunked; }
    std::optional<std::uint64_t> length() const noexcept { return m_length; }
    /// @return the one coding that can be undone; None when there is none, another, or more than one.
    ContentCoding coding() const noexcept { return m_codings == 1 ? m_coding : ContentCoding::None; }
    bool keepAlive() const noexcept { return !m_close && (version == 11 || m_keepAlive); }
    std::optional<std::chrono::seconds> keepAliveTimeout() const noexcept { return m_keepAliveTimeout; }

private:
    std::optional<std::uint64_t> m_length;
    std::optional<std::chrono::seconds> m_keepAliveTimeout;
    ContentCoding m_coding = ContentCoding::None;
    unsigned m_codings = 0;
    bool m_chunked = false;
    bool m_close = false;
    bool m_keepAlive = false;
};

} // namespace httpclient::http1
