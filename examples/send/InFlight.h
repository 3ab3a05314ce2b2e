// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

#include "send/Sender.h"

namespace sender {

/// A bounded number of asynchronous requests under way, and what comes of them. One per process.
///
/// A callback is told the answer and nothing else. So each place has a callback function of its own: it knows
/// whose answer has come, and how long it took.
class InFlight {
public:
    static constexpr size_t MOST_PLACES = 64;

    /// @param places from 1 to MOST_PLACES: so many requests may be under way.
    /// @param patience how long to wait for a callback; a request whose callback has not come by then counts
    ///        as unanswered, and its place is not used again. That is when no thread could be started for it.
    InFlight(size_t places, Duration patience);

    /// @return whether another request may be sent.
    bool HasPlace() const;
    /// How many requests have neither been answered nor given up.
    size_t UnderWay() const;
    /// Sends a request on a thread of its own. Only when there is a place.
    void Send(CHttpClient& client, const CHttpRequest& request, bool tls);
    /// Waits until something has come of a request, but no longer than this.
    /// @return all that has come since the last call.
    std::vector<Outcome> WaitForOutcomes(Duration atMost);

private:
    void GiveUpOverdue();

    const Duration m_patience;
};

} // namespace sender
