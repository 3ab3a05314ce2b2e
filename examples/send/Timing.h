// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the time of a call went, to look at.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>

#include <httpclient/Result.h>
#include <httpclient/Timings.h>

namespace sender {

/// The phases in the order of a call.
constexpr std::array PHASES{
    httpclient::Phase::Prepare, httpclient::Phase::Token,   httpclient::Phase::Lease,
    httpclient::Phase::Resolve, httpclient::Phase::Connect, httpclient::Phase::Handshake,
    httpclient::Phase::Send,    httpclient::Phase::Head,    httpclient::Phase::Body};

/// @return a time in milliseconds, to be printed.
inline double Milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// How long each of PHASES took; 0 where it did not happen.
using PhaseTimes = std::array<std::chrono::nanoseconds, PHASES.size()>;

PhaseTimes TimesOf(const httpclient::Timings& timings);

/// A line for each phase that happened, with a bar that begins where the one before ends; then one for the whole.
std::string DrawTiming(const PhaseTimes& times, std::chrono::nanoseconds total);

} // namespace sender
