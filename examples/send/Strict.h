// SPDX-License-Identifier: Apache-2.0
/// @file
/// Sends through httpclient::Client: what --strict asks for.
#pragma once

#include <iosfwd>

#include <httpclient/Client.h>

#include "send/Options.h"
#include "send/Sender.h"

namespace sender {

/// @return the request that the options describe.
httpclient::Request MakeStrictRequest(const Options& options);

/// @return a client set to the options' target, for all threads.
/// @throw UsageError for what it refuses.
httpclient::Client MakeStrictClient(const Options& options);

/// Writes what the engine has counted where the options say, if they do.
/// @throw OutputError when that cannot be written.
void WriteMetrics(const Options& options, std::ostream& standardOutput);

/// @return what the program knows of an outcome.
Outcome OutcomeOf(httpclient::Result&& result);

/// Sends a request on the calling thread, or asynchronously.
Outcome SendStrictly(const Options& options, const httpclient::Client& client,
                     const httpclient::Request& request);

} // namespace sender
