// SPDX-License-Identifier: Apache-2.0
/// @file
/// One measurement.
#pragma once

#include "Peer.h"
#include "Works.h"

struct Figures {
    double perSecond = 0; ///< Requests.
    double p50 = 0;       ///< us; of a burst: until the last answer.
    double cpu = 0;       ///< us of this process for each request.
};

/// Has a peer do a work for a time.
/// @throw std::runtime_error when a request fails.
Figures Measure(const PeerKind& peer, const Work& work, double seconds);

/// 100 requests at once by the library's asynchronous send.
Figures MeasureAsynchronous(const Work& work);
