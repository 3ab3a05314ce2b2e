// SPDX-License-Identifier: Apache-2.0
/// @file
/// Making one connection to one of several addresses (RFC 8305).
#pragma once

#include <chrono>
#include <cstddef>
#include <system_error>
#include <vector>

#include <poll.h>

#include "net/Descriptor.h"
#include "net/Net.h"

namespace httpclient::net {

/// Races addresses, both families in turn, 250 ms apart; the first connection wins, the others are closed. A refused
/// one starts the next at once. A Unix socket whose backlog is full is tried again every few milliseconds: a blocking
/// connect() would wait, too.
///
/// @par Thread Safety
/// One thread at a time.
class Dial {
public:
    enum class Status { Pending, Connected, Failed };

    /// @param endpoints with their ports; at least one. Sorted here: families in turn, the first one's first.
    explicit Dial(std::vector<Endpoint> endpoints);
    /// Goes on: begins attempts that are due, looks at those under way. Sockets are non-blocking, close-on-exec,
    /// without Nagle.
    Status Step(Time now);
    /// Appends the descriptors to wait for (POLLOUT). There may be none: NextStart() says when to go on.
    void Watch(std::vector<pollfd>& to) const;
    /// @return when Step() has to be called though no descriptor is ready; Time::max() when never.
    Time NextStart() const noexcept;
    /// After Connected: the socket.
    Descriptor Take();
    /// After Connected: where it leads.
    const Endpoint& endpoint() const noexcept { return m_connectedTo; }
    /// After Failed: the error of the last attempt; of descriptors used up (EMFILE, ENFILE) before any other.
    std::error_code error() const noexcept { return m_error; }

private:
    struct Attempt {
        Descriptor socket;
        Endpoint endpoint;
        Time again = Time::max();           ///< when to try again; max: the descriptor tells
        std::chrono::milliseconds pause{0}; ///< before the next try
    };
    enum class Outcome { UnderWay, Connected, Refused };

    bool Advance(Time now);
    bool Begin(Time now);
    Outcome Try(Attempt& attempt, Time now);
    Outcome Refuse(std::error_code error);
    void Win(Attempt& attempt);

    std::vector<Endpoint> m_endpoints;
    std::size_t m_next = 0; ///< the endpoint to begin with next
    std::vector<Attempt> m_attempts;
    Time m_nextStart = Time::min(); ///< when to begin with it
    Descriptor m_connected;
    Endpoint m_connectedTo;
    std::error_code m_error;
};

} // namespace httpclient::net
