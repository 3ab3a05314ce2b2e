// SPDX-License-Identifier: Apache-2.0
/// @file
/// Code of the host where no engine has a thread for it.
#pragma once

#include <thread>
#include <utility>

#include "engine/HostMask.h"
#include "support/ExitGate.h"
#include "support/SignalBlock.h"

namespace httpclient::engine {

/// Runs code of the host on a thread of its own, with the signal mask of this one.
/// @throw std::bad_alloc, std::system_error: it does not run.
template <class Run> void RunApart(Run run) {
    const SignalBlock block;
    std::thread([run = std::move(run), mask = block.Former()]() mutable {
        const ExitGate::DetachedThread thread;
        const HostMask hosts(mask);
        Run own(std::move(run)); // which goes before the thread
        own();
    }).detach();
}

} // namespace httpclient::engine
