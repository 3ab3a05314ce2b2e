// SPDX-License-Identifier: Apache-2.0
#include "HeldLock.h"

#include <atomic>
#include <cerrno>
#include <utility>

#include <httpclient/HttpConnectionMgr.h>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

std::atomic<const pthread_rwlock_t*> g_lock{nullptr};
std::function<void()>& g_beforeWriting = *new std::function<void()>;
std::atomic<bool> g_refused{false};
std::atomic<int> g_writes{0};
std::atomic<int> g_reads{0};
std::atomic<int> g_unlocks{0};

} // namespace

pthread_rwlock_t* LockOf(CHttpConnectionMgr& pool) {
    return &pool.m_PoolLock.lock_;
}

HeldLock::HeldLock(const pthread_rwlock_t* lock, std::function<void()> beforeWriting) {
    g_writes = g_reads = g_unlocks = 0;
    g_refused = false;
    g_beforeWriting = std::move(beforeWriting);
    g_lock = lock;
}

HeldLock::~HeldLock() {
    g_lock = nullptr;
    g_beforeWriting = nullptr;
}

void HeldLock::RefuseWriting() {
    g_refused = true;
}

int HeldLock::Writes() const {
    return g_writes;
}

int HeldLock::Reads() const {
    return g_reads;
}

int HeldLock::Unlocks() const {
    return g_unlocks;
}

extern "C" {

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    static auto* const next = Next<int(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
    if (lock != g_lock) {
        return next(lock);
    }
    ++g_writes;
    if (g_beforeWriting) {
        g_beforeWriting();
    }
    return g_refused ? EINVAL : next(lock);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    static auto* const next = Next<int(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
    if (lock == g_lock) {
        ++g_reads;
    }
    return next(lock);
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    static auto* const next = Next<int(pthread_rwlock_t*)>("pthread_rwlock_unlock");
    if (lock == g_lock) {
        ++g_unlocks;
    }
    return next(lock);
}

} // extern "C"
