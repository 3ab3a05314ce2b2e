// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include "send/Latency.h"
#include "send/Options.h"
#include "send/Progress.h"

class CHttpRequest;

namespace sender {

/// What came of a run, and how long it took as a whole.
struct LoadResult {
    Tally tally;
    Duration time{};
};

/// Sends one request many times, on several threads with a client each; or asynchronously.
/// @param stop ends the run early when it becomes true; requests under way are finished.
LoadResult RunLoad(const Options& options, const CHttpRequest& request, ProgressBar& progress,
                   const std::atomic<bool>& stop);

} // namespace sender
