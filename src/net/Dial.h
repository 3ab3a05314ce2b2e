// SPDX-License-Identifier: Apache-2.0
/// @file
/// Making one TCP connection to one of several addresses (RFC 8305).
#pragma once

#include <optional>
#include <system_error>
#include <vector>

#include <poll.h>

#include "net/Descriptor.h"
#include "net/Net.h"

namespace httpclient::net {

/// Races addresses, both families in turn, 250 ms apart; the first connection wins, the others are closed. A refused
/// one starts the next at once.
class Dial {
public:
    enum class Status { Pending, Connected, Failed };

    /// @param endpoints with their ports; at least one. Sorted here: families in turn, the first one's first.
    explicit Dial(std::vector<Endpoint> endpoints);
    /// Goes on: begins attempts that are due, looks at those under way. Sockets are non-blocking, close-on-exec,
    /// without Nagle.
    Status Step(Time now);
    /// Appends the descriptors to wait for (POLLOUT).
    void Watch(std::vector<pollfd>& to) const;
    /// @return when Step() has to be called though no descriptor is ready; Time::max() when never.
    Time NextStart() const noexcept;
    /// After Connected: the socket.
    Descriptor Take();
    /// After Failed: the error of the last attempt; of descriptors used up (EMFILE, ENFILE) before any other.
    std::error_code error() const noexcept;
};

} // namespace httpclient::net
