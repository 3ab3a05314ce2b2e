// SPDX-License-Identifier: Apache-2.0
/// @file
/// How long a server asks to wait.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string_view>

namespace httpclient::engine {

/// Reads a Retry-After (RFC 9110, 10.2.3): seconds, or a date in one of the three forms.
/// @param now the time of day, for a date. @return nothing when it is neither; 0 for a date that has passed.
std::optional<std::chrono::seconds> ParseRetryAfter(std::string_view value, std::time_t now);

} // namespace httpclient::engine
