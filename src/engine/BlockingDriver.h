// SPDX-License-Identifier: Apache-2.0
/// @file
/// The driver of calls on the caller's thread.
#pragma once

#include <httpclient/Result.h>

#include "engine/ClientCore.h"
#include "engine/Core.h"
#include "engine/Receiving.h"
#include "engine/RequestBody.h"

namespace httpclient::engine {

/// Runs a call of the host's on this thread, waiting with poll(), to its outcome. All arguments outlive it.
/// @param open whether the engine takes the call; otherwise the outcome is Shutdown.
/// @throw std::bad_alloc when the call cannot even begin; what cancels the thread.
Result RunBlocking(Core& core, bool open, const ClientCore& client, const Request::Body& request);

/// The same for a call of the engine's own: no observer is told of it, the engine takes it while it lives, and its end is
/// waited for by whoever makes it.
/// @param scratch what it receives goes through this memory, which the caller may wipe.
Result RunOwn(Core& core, const ClientCore& client, const Request::Body& request, Scratch scratch);

} // namespace httpclient::engine
