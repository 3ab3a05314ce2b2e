// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "send/Latency.h"
#include "send/Options.h"
#include "send/Progress.h"
#include "send/Sender.h"

class CHttpRequest;

namespace sender {

/// Sends a request once, on a thread of its own, and waits for its callback.
Outcome SendAsync(const Options& options, const CHttpRequest& request);

/// Sends a request many times, so many at a time as the options have threads.
/// @param stop ends the run early when it becomes true; requests under way are finished.
Tally SendAsyncRepeatedly(const Options& options, const CHttpRequest& request, ProgressBar& progress,
                          const std::atomic<bool>& stop);

} // namespace sender
