// SPDX-License-Identifier: Apache-2.0
#include "http1/HeadCollector.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "http1/Bytes.h"

namespace httpclient::http1 {
namespace {

constexpr std::string_view BEGINNING = "HTTP/1.";
constexpr std::size_t PROTOCOL_SIZE = 5; // "HTTP/"

/// Replaces each fold, with the blanks before and after the line break, by one blank (RFC 9112, 5.2).
void Unfold(std::string& text) {
    std::size_t to = 0;
    std::size_t from = 0;
    while (from < text.size()) {
        const bool fold = text[from] == '\r' && text[from + 1] == '\n' && IsBlank(text[from + 2]);
        if (!fold) {
            text[to++] = text[from++];
            continue;
        }
        while (IsBlank(text[to - 1])) {
            --to;
        }
        from += 2;
        while (IsBlank(text[from])) {
            ++from;
        }
        text[to++] = ' ';
    }
    text.resize(to);
}

} // namespace

GrammarError HeadCollector::CheckBeginning(const char* data, std::size_t size) noexcept {
    for (; m_begun < BEGINNING.size() && size > 0; ++m_begun, ++data, --size) {
        if (*data != BEGINNING[m_begun]) {
            return m_begun < PROTOCOL_SIZE ? GrammarError::BadStatusLine : GrammarError::BadVersion;
        }
    }
    return {};
}

HeadCollector::Outcome HeadCollector::Feed(std::string& text, const char* data, std::size_t size,
                                           std::size_t limit) {
    const char* at = data;
    const char* const end = data + std::min(size, limit - text.size());
    if (const GrammarError error = CheckBeginning(data, static_cast<std::size_t>(end - data));
        error != GrammarError{}) {
        return {0, false, error};
    }
    while (at != end) {
        if (m_lineSize == 0 && m_lines > 0 && IsBlank(*at)) {
            if (m_lines == 1) {
                // RFC 9112, 2.2. A bare CR before it is what is told of, as it is where the bytes come one by one.
                text.append(data, static_cast<std::size_t>(at - data));
                return {0, false, HasBareCr(text) ? GrammarError::BadLineBreak : GrammarError::BadField};
            }
            m_folded = true;
        }
        const auto* feed =
            static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
        if (feed == nullptr) {
            m_lineSize += static_cast<std::size_t>(end - at);
            m_last = end[-1];
            break;
        }
        const std::size_t lineSize = m_lineSize + static_cast<std::size_t>(feed - at);
        if (lineSize == 0 || (feed == at ? m_last : feed[-1]) != '\r') {
            return {0, false, GrammarError::BadLineBreak};
        }
        ++m_lines;
        m_lineSize = 0;
        at = feed + 1;
        if (lineSize == 1) {
            const auto consumed = static_cast<std::size_t>(at - data);
            text.append(data, consumed);
            if (m_folded) {
                Unfold(text);
            }
            return {consumed, true, {}};
        }
    }
    const auto consumed = static_cast<std::size_t>(end - data);
    const std::size_t known = text.empty() ? 0 : text.size() - 1; // its CR may have got no LF now
    text.append(data, consumed);
    if (HasBareCr(std::string_view(text).substr(known))) {
        return {0, false, GrammarError::BadLineBreak};
    }
    return {consumed, false, text.size() == limit ? GrammarError::HeadTooLarge : GrammarError{}};
}

} // namespace httpclient::http1
