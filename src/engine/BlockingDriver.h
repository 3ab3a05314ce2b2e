// SPDX-License-Identifier: Apache-2.0
/// @file
/// The driver of calls on the caller's thread.
#pragma once

#include <httpclient/Result.h>

#include "engine/ClientCore.h"
#include "engine/Core.h"
#include "engine/RequestBody.h"

namespace httpclient::engine {

/// Runs a call on this thread, waiting with poll(), to its outcome. All three arguments outlive it.
/// @throw std::exception when memory or another resource is exhausted; what cancels the thread.
Result RunBlocking(Core& core, const ClientCore& client, const Request::Body& request);

} // namespace httpclient::engine
