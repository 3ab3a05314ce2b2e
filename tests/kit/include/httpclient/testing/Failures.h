// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where this kit reports what a test did wrong on a thread that is not the test's.
#pragma once

#include <functional>
#include <string>

namespace httpclient::testing {

/// Takes a failure's words. Called on any thread, one call at a time.
using FailureReporter = std::function<void(const std::string&)>;

/// Sets where failures go; an empty reporter brings back the first one, which writes to standard error.
/// ResourceListener makes them failures of the running test.
/// @return the reporter that was set before.
///
/// @par Thread Safety
/// Safe from any number of threads, a reporter itself excepted.
FailureReporter SetFailureReporter(FailureReporter reporter);

/// Reports a failure.
///
/// @par Thread Safety
/// Safe from any number of threads.
void ReportFailure(const std::string& what);

} // namespace httpclient::testing
