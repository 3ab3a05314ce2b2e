// SPDX-License-Identifier: Apache-2.0
/// @file
/// The pool's lock, and which threads are amid the pool.
#pragma once

#include <ace/Guard_T.h>
#include <ace/RW_Thread_Mutex.h>

/// While it lives, this thread is amid the pool: it holds one of its locks, or is the pool's own.
///
/// The log and the cipher are called there. They may end the process, and a handler of exit() that ends the pool would
/// then wait for its own thread.
class AmidPool {
public:
    AmidPool() { ++m_depth; }
    ~AmidPool() { --m_depth; }
    AmidPool(const AmidPool&) = delete;
    AmidPool& operator=(const AmidPool&) = delete;
    /// @return whether this thread is.
    static bool Is() { return m_depth > 0; }

private:
    inline static thread_local unsigned int m_depth = 0;
};

/// Holds the pool's lock, which is only ever taken for writing. Should taking it fail, the operation runs all the same.
class PoolGuard {
public:
    explicit PoolGuard(ACE_RW_Thread_Mutex& lock) : m_guard(lock) {}
    /// @return whether it does: not where this thread held it before.
    bool Holds() const { return m_guard.locked() != 0; }

private:
    const AmidPool m_amid;
    const ACE_Write_Guard<ACE_RW_Thread_Mutex> m_guard;
};
