// SPDX-License-Identifier: Apache-2.0
/// @file
/// One connection of the pool.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <boost/intrusive/list_hook.hpp>

#include "engine/Counts.h"
#include "net/Channel.h"
#include "net/Net.h"

namespace httpclient::engine {

class Destination;

/// A connection with what the pool needs to know of it. Lent to one call at a time, or idle. Its making and its end are
/// counted.
class Connection {
public:
    Connection(net::Channel made, std::shared_ptr<Destination> to, std::uint64_t materialGeneration,
               net::Time now);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    net::Channel channel;
    std::shared_ptr<Destination> destination;
    std::uint64_t generation; ///< of the TLS material that it was made with; 0: plain
    net::Time born;
    net::Time oldest{};                   ///< when it is too old to be kept, set by the pool
    net::Time goodFor = net::Time::max(); ///< until when the server said that it keeps it
    bool used = false;                    ///< whether an exchange went over it before
    CloseReason closing =
        CloseReason::Error; ///< why it is closed; to be set before, where another is the reason

    /// Places in the pool's lists while it is idle: those of its destination and those of all.
    boost::intrusive::list_member_hook<> ofDestination;
    boost::intrusive::list_member_hook<> ofAll;
    net::Time idleSince{};
};

} // namespace httpclient::engine
