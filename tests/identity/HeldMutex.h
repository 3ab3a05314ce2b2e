// SPDX-License-Identifier: Apache-2.0
/// @file
/// Locks as tests hold them.
#pragma once

#include <chrono>
#include <future>
#include <utility>

#include <pthread.h>

#include <httpclient/testing/Patience.h>

/// Holds a lock, so that whoever needs it waits.
class HeldMutex {
public:
    explicit HeldMutex(pthread_mutex_t& mutex);
    ~HeldMutex();
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;

    /// Waits until a thread waits for the lock. @return whether one does.
    bool WaitForWaiter() const;
    /// Gives the lock back.
    void Release();

private:
    pthread_mutex_t& m_mutex;
    bool m_held = true;
};

/// Makes a lock such that this thread cannot take it: every attempt fails, until this object ends. Nobody
/// else may use the lock meanwhile.
class RefusingMutex {
public:
    explicit RefusingMutex(pthread_mutex_t& mutex);
    ~RefusingMutex();
    RefusingMutex(const RefusingMutex&) = delete;
    RefusingMutex& operator=(const RefusingMutex&) = delete;

    /// @return whether somebody released the lock without having taken it.
    bool WasReleased() const;

private:
    pthread_mutex_t& m_mutex;
};

/// @return whether nobody holds the lock.
bool IsFree(pthread_mutex_t& mutex);

/// Runs an operation on another thread. @return its result, to be waited for.
template <class Operation> auto Elsewhere(Operation operation) {
    return std::async(std::launch::async, std::move(operation));
}

/// @return whether an operation on another thread ends.
template <class Result> bool Ends(const std::future<Result>& future) {
    return future.wait_for(httpclient::testing::PATIENCE) == std::future_status::ready;
}
