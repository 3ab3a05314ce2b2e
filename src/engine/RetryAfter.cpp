// SPDX-License-Identifier: Apache-2.0
#include "engine/RetryAfter.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

#include <locale.h>
#include <time.h>

namespace httpclient::engine {

namespace {

constexpr std::int64_t LONGEST = 365L * 24 * 60 * 60; // beyond every deadline

/// The days and months of the dates are English, whatever the host's locale is.
locale_t CLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

std::optional<std::time_t> ParseDate(const std::string& text) {
    for (const char* format :
         {"%a, %d %b %Y %H:%M:%S GMT", "%A, %d-%b-%y %H:%M:%S GMT", "%a %b %d %H:%M:%S %Y"}) {
        tm date{};
        const char* end = strptime_l(text.c_str(), format, &date, CLocale());
        if (end != nullptr && *end == '\0') {
            return timegm(&date);
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::chrono::seconds> ParseRetryAfter(std::string_view value, std::time_t now) {
    std::int64_t seconds = 0;
    const char* last = value.data() + value.size();
    const auto [end, error] = std::from_chars(value.data(), last, seconds);
    if (end == last && !value.empty() && value.front() != '-') {
        return std::chrono::seconds(error == std::errc() ? std::min(seconds, LONGEST) : LONGEST);
    }
    if (const std::optional<std::time_t> date = ParseDate(std::string(value))) {
        return std::chrono::seconds(std::clamp<std::int64_t>(*date - now, 0, LONGEST));
    }
    return std::nullopt;
}

} // namespace httpclient::engine
