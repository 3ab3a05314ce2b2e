// SPDX-License-Identifier: Apache-2.0
/// @file
/// How a call that waits is told to go on.
#pragma once

/// Tells a waiting call, on whichever driver, to look again. May be called on any thread, more often than needed,
/// and when the call is long over. Blocks on nothing and calls nothing of the host's.
class Waker {
public:
    virtual ~Waker() = default;
    virtual void Wake() noexcept = 0;

protected:
    Waker() = default;
    Waker(const Waker&) = default;
    Waker& operator=(const Waker&) = default;
};
