// SPDX-License-Identifier: Apache-2.0
#include "http1/HeadFacts.h"

#include <limits>

#include "http1/Bytes.h"

namespace httpclient::http1 {
namespace {

/// @return the number; nothing for a text that is not digits alone, or beyond the limit.
std::optional<std::uint64_t> NumberOf(std::string_view text, std::uint64_t limit) noexcept {
    if (text.empty()) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (const char byte : text) {
        if (!IsDigit(byte)) {
            return std::nullopt;
        }
        const auto digit = static_cast<std::uint64_t>(byte - '0');
        if (number > (limit - digit) / 10) {
            return std::nullopt;
        }
        number = number * 10 + digit;
    }
    return number;
}

constexpr std::uint64_t MAX_LENGTH = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t MAX_SECONDS = 1'000'000'000; // more than anybody waits, and no overflow in any unit

} // namespace

GrammarError HeadFacts::TakeContentLength(std::string_view value) noexcept {
    do {
        const std::optional<std::uint64_t> length = NumberOf(NextElement(value), MAX_LENGTH);
        if (!length || (m_length && *m_length != *length)) {
            return GrammarError::BadFraming;
        }
        m_length = length; // equal ones may be repeated: RFC 9110, 8.6
    } while (value.data() != nullptr);
    return {};
}

GrammarError HeadFacts::TakeTransferEncoding(std::string_view value) noexcept {
    if (m_chunked || !EqualsIgnoringCase(value, "chunked")) {
        return GrammarError::BadFraming;
    }
    m_chunked = true;
    return {};
}

void HeadFacts::TakeConnection(std::string_view value) noexcept {
    do {
        const std::string_view option = NextElement(value);
        m_close = m_close || EqualsIgnoringCase(option, "close");
        m_keepAlive = m_keepAlive || EqualsIgnoringCase(option, "keep-alive");
    } while (value.data() != nullptr);
}

void HeadFacts::TakeKeepAlive(std::string_view value) noexcept {
    constexpr std::string_view NAME = "timeout";
    do {
        const std::string_view parameter = NextElement(value);
        const std::size_t equals = parameter.find('=');
        if (equals == std::string_view::npos ||
            !EqualsIgnoringCase(Trimmed(parameter.substr(0, equals)), NAME)) {
            continue;
        }
        const auto seconds = NumberOf(Trimmed(parameter.substr(equals + 1)), MAX_SECONDS);
        if (seconds &&
            (!m_keepAliveTimeout || m_keepAliveTimeout->count() > static_cast<std::int64_t>(*seconds))) {
            m_keepAliveTimeout = std::chrono::seconds(*seconds);
        }
    } while (value.data() != nullptr);
}

void HeadFacts::TakeContentEncoding(std::string_view value) noexcept {
    do {
        const std::string_view coding = NextElement(value);
        if (coding.empty()) {
            continue;
        }
        ++m_codings;
        if (EqualsIgnoringCase(coding, "gzip") || EqualsIgnoringCase(coding, "x-gzip")) {
            m_coding = ContentCoding::Gzip;
        } else if (EqualsIgnoringCase(coding, "deflate")) {
            m_coding = ContentCoding::Deflate;
        }
    } while (value.data() != nullptr);
}

GrammarError HeadFacts::Check() const noexcept {
    const bool contradictory = m_chunked && (m_length || version == 10); // RFC 9112, 6.1 and 6.3
    return contradictory ? GrammarError::BadFraming : GrammarError{};
}

} // namespace httpclient::http1
