// SPDX-License-Identifier: Apache-2.0
/// @file
/// One measurement.
#pragma once

#include "Peer.h"
#include "Works.h"

/// Of one peer at one work. Only requests that were answered count; without any of them all but the
/// errors is 0.
struct Figures {
    double perSecond = 0; ///< Requests.
    double p50 = 0;       ///< us; of a burst: until the last answer.
    double cpu = 0;       ///< us of this process for each request.
    long errors = 0;      ///< Requests that failed, those for warming up included.

    bool Measured() const { return perSecond > 0; }
};

/// Has a peer do a work for a time; before that, each thread sends some requests that are not
/// measured, so that connections, handshakes and threads are there. What the first error of a thread
/// was goes to standard error.
Figures Measure(const PeerKind& peer, const Work& work, double seconds);

/// A burst by the library's asynchronous send, after another that is not measured.
Figures MeasureAsynchronous(const Work& work);
