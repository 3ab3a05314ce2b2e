// SPDX-License-Identifier: Apache-2.0
/// @file
/// Many asynchronous calls through httpclient::Client: what --strict --async asks for.
#pragma once

#include <atomic>
#include <functional>

#include <httpclient/Client.h>

#include "send/Latency.h"
#include "send/Options.h"
#include "send/Progress.h"
#include "send/Sender.h"

namespace sender {

/// The most calls that may be under way at a time: each has a connection, and the engine keeps so many in all.
constexpr unsigned int MOST_CALLS_IN_FLIGHT = 10'000;

/// Lets this process open so many descriptors as it may: shells give it about a thousand to begin with.
void AllowDescriptors();

/// Sends a request many times, so many at a time as the options have threads; all on the engine's loop.
/// @param note called with each outcome, on the calling thread.
/// @param stop ends the run early when it becomes true; calls under way are finished.
Tally SendInFlight(const Options& options, const httpclient::Client& client,
                   const httpclient::Request& request, const std::function<void(const Outcome&)>& note,
                   ProgressBar& progress, const std::atomic<bool>& stop);

} // namespace sender
