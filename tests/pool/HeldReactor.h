// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the time of the pool's reactor: its monotonic clock and its wait for events.
#pragma once

#include <chrono>

/// While it lives, the monotonic clock that ACE and the library read stands still until told otherwise, and
/// no wait of the reactor takes longer than a few milliseconds. One at a time; the pool that it holds starts
/// and ends within its life.
class HeldReactor {
public:
    HeldReactor();
    ~HeldReactor();
    HeldReactor(const HeldReactor&) = delete;
    HeldReactor& operator=(const HeldReactor&) = delete;

    /// Advances the clock, and returns at once.
    void Advance(std::chrono::milliseconds step);
    /// Advances the clock, and returns when the reactor has done all that was due. @return whether it did.
    bool AdvanceAndSettle(std::chrono::milliseconds step);
    /// Returns when the reactor has done all that is due. @return whether it did.
    bool Settle();
    /// What the held clock says.
    std::chrono::nanoseconds Now() const;
};

/// While it lives, no new epoll descriptor can be had.
class RefusedEpoll {
public:
    RefusedEpoll();
    ~RefusedEpoll();
    RefusedEpoll(const RefusedEpoll&) = delete;
    RefusedEpoll& operator=(const RefusedEpoll&) = delete;
};
