// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the monotonic clock of C++ and the waits on it: link httpclient_interpose_steady_clock.
#pragma once

#include <chrono>

namespace httpclient::testing {

/// Has std::chrono::steady_clock jump ahead, in the whole process and for good: it never goes back. Who waits for a time
/// with a condition wakes when the time has come by that clock. Safe from any thread.
void AdvanceSteadyClock(std::chrono::nanoseconds by);

} // namespace httpclient::testing
