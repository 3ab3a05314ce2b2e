// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a call waits for before it can go on.
#pragma once

#include <poll.h>

#include "net/Net.h"

namespace httpclient::engine {

/// Told by a call's state machine to its driver.
struct Wait {
    enum class For {
        Done,  ///< nothing more: the outcome is there
        Again, ///< nothing: others may go first, then on
        Io,    ///< a descriptor that is ready
        Dial,  ///< one of several descriptors that is ready: Call::Watched()
        Wake,  ///< its Waker
        Time,  ///< the time alone
        Host,  ///< code of the host to run: Call::RunHost()
        Work   ///< work that may block to run: Call::RunWork()
    };
    For what = For::Done;
    pollfd io{-1, 0, 0};                ///< Io
    net::Time until = net::Time::max(); ///< go on then at the latest; not for Done, Again, Host and Work
};

} // namespace httpclient::engine
