// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include <httpclient/testing/RecordedRequest.h>

#include "Text.h"

namespace httpclient::testing {

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsHeader(std::string_view line, std::string_view name) {
    return line.size() > name.size() && line[name.size()] == ':' &&
           SameIgnoringCase(line.substr(0, name.size()), name);
}

} // namespace

bool SameIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::string> RecordedRequest::Header(std::string_view name) const {
    for (const std::string_view line : headerLines) {
        if (IsHeader(line, name)) {
            return std::string(Trimmed(line.substr(name.size() + 1)));
        }
    }
    return std::nullopt;
}

std::size_t RecordedRequest::HeaderCount(std::string_view name) const {
    return static_cast<std::size_t>(
        std::count_if(headerLines.begin(), headerLines.end(),
                      [name](const std::string& line) { return IsHeader(line, name); }));
}

} // namespace httpclient::testing
