// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is written about a call: the one place that decides what may be told.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "engine/ClientCore.h"
#include "engine/Outcome.h"
#include "engine/RequestBody.h"

namespace httpclient::engine {

/// @return the path of a target, without the query. Of what is no path, which a call refuses, nothing: it may be a URL
///         with a password.
std::string_view PathOf(std::string_view target) noexcept;

/// @return the message of a failure: one line, without header values, bodies and queries.
/// @param detail what is known beside kind, phase and code; may be empty.
std::string DescribeFailure(const Failure::Body& failure, const std::string& detail);

/// Logs a call that has a response: one line of level 3.
void LogAnswer(const ClientCore& client, const Request::Body& request, const Response& response) noexcept;
/// Logs a call that has none: one line of level 5.
void LogFailure(const ClientCore& client, const Request::Body& request,
                const Failure::Body& failure) noexcept;
/// The same for a call that memory or another resource was refused to.
void LogExhaustion(const ClientCore& client, const Request::Body& request, Phase phase, int attempts,
                   std::chrono::nanoseconds total) noexcept;

} // namespace httpclient::engine
