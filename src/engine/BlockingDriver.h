// SPDX-License-Identifier: Apache-2.0
/// @file
/// The driver of calls on the caller's thread.
#pragma once

#include <httpclient/Result.h>

#include "engine/ClientCore.h"
#include "engine/Core.h"
#include "engine/RequestBody.h"

namespace httpclient::engine {

/// Runs a call on this thread, waiting with poll(), to its outcome. All arguments outlive it.
/// @param visit of the call: when it did not enter, the outcome is Shutdown.
/// @throw std::bad_alloc when the call cannot even begin; what cancels the thread.
Result RunBlocking(Core& core, const Core::Visit& visit, const ClientCore& client,
                   const Request::Body& request);

} // namespace httpclient::engine
