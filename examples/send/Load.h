// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>

#include "send/Latency.h"
#include "send/Options.h"
#include "send/Progress.h"

namespace sender {

/// What came of a run, and how long it took as a whole.
struct LoadResult {
    Tally tally;
    Duration time{};
};

/// Sends one request many times, on several threads.
/// @param sendOfThread called on each thread, for what it is to send with.
/// @param stop ends the run early when it becomes true; requests under way are finished.
Tally SendOnThreads(const Options& options, const std::function<SendOne()>& sendOfThread,
                    ProgressBar& progress, const std::atomic<bool>& stop);

} // namespace sender
