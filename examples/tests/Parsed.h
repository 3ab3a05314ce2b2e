// SPDX-License-Identifier: Apache-2.0
/// @file
/// The sender's options, as a command line gives them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "send/Errors.h"
#include "send/Options.h"

namespace examples {

constexpr const char* URL = "http://h/";

inline sender::Options Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "httpclient-send");
    return sender::ParseOptions(static_cast<int>(arguments.size()), arguments.data()).value();
}

inline sender::Options ParseStrict(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "--strict");
    return Parse(std::move(arguments));
}

/// @return why a command line is refused, or "accepted".
inline std::string WhyRefused(std::vector<const char*> arguments) {
    try {
        Parse(std::move(arguments));
    } catch (const sender::UsageError& problem) {
        return problem.what();
    }
    return "accepted";
}

inline std::string WhyStrictRefused(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "--strict");
    return WhyRefused(std::move(arguments));
}

} // namespace examples
