// SPDX-License-Identifier: Apache-2.0
/// @file
/// What ends a server's waits.
#pragma once

#include <chrono>

#include "Descriptor.h"

namespace httpclient::testing {

/// Ends every wait of a server, those under way and those to come. Safe from any number of threads.
class StopSignal {
public:
    /// @throw std::system_error when there is no descriptor to be had.
    StopSignal();
    /// Ends the waits.
    void Raise();
    /// Waits until a descriptor is ready. @return false when the signal was raised.
    bool WaitFor(int fd, short events) const;
    /// Waits for a time. @return false when the signal was raised.
    bool Pause(std::chrono::milliseconds time) const;

private:
    // Written once and never read, so that every poll() on it sees it.
    Descriptor m_event;
};

} // namespace httpclient::testing
