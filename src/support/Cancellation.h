// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where a thread may be cancelled.
#pragma once

#include <pthread.h>

/// While it lives, pthread_cancel() of this thread waits: what may not be interrupted half-way, destructors above
/// all, calls functions of the C library that would act on it.
class CancellationBlock {
public:
    CancellationBlock() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_previous); }
    ~CancellationBlock() { pthread_setcancelstate(m_previous, nullptr); }
    CancellationBlock(const CancellationBlock&) = delete;
    CancellationBlock& operator=(const CancellationBlock&) = delete;

    /// @return the state before, to be restored where cancellation is safe.
    int previous() const { return m_previous; }

private:
    int m_previous = PTHREAD_CANCEL_ENABLE;
};

/// While it lives, a thread may be cancelled as it could before a CancellationBlock.
class CancellationPoint {
public:
    explicit CancellationPoint(const CancellationBlock& block) {
        pthread_setcancelstate(block.previous(), &m_blocked);
    }
    ~CancellationPoint() { pthread_setcancelstate(m_blocked, nullptr); }
    CancellationPoint(const CancellationPoint&) = delete;
    CancellationPoint& operator=(const CancellationPoint&) = delete;

private:
    int m_blocked = PTHREAD_CANCEL_DISABLE;
};
