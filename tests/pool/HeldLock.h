// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds one read-write lock: counts what is done with it, and makes it fail.
#pragma once

#include <functional>

#include <pthread.h>

class CHttpConnectionMgr;

/// The lock beneath a pool's ACE lock.
pthread_rwlock_t* LockOf(CHttpConnectionMgr& pool);

/// While it lives, counts the operations of the whole process on one lock. One at a time.
class HeldLock {
public:
    /// @param lock the lock to watch.
    /// @param beforeWriting called on the thread that is about to lock for writing.
    explicit HeldLock(const pthread_rwlock_t* lock, std::function<void()> beforeWriting = {});
    ~HeldLock();
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;

    /// From now on the lock cannot be taken for writing.
    void RefuseWriting();

    int Writes() const;  ///< attempts to lock for writing
    int Reads() const;   ///< attempts to lock for reading
    int Unlocks() const; ///< releases
};
