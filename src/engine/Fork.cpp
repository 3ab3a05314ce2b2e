// SPDX-License-Identifier: Apache-2.0
#include "engine/Fork.h"

#include <atomic>
#include <mutex>
#include <new>

#include <pthread.h>

namespace httpclient::engine {

namespace {

std::atomic<std::uint64_t> g_epoch{1};
std::atomic<bool> g_watched{false};

/// Recursive: the functions below may have been registered twice.
std::recursive_mutex g_making;

void HoldMaking() {
    g_making.lock();
}

void LetMaking() {
    g_making.unlock();
}

void BeginChild() {
    new (&g_making) std::recursive_mutex; // held by a thread of the parent's, whose number the child has not
    g_epoch.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

// No static of the function: a child that was forked while another thread initialises it would wait for that for ever.
// Two threads may both have forks counted. Then each counts twice, which is as good.
std::uint64_t ForkEpoch() noexcept {
    if (!g_watched.load(std::memory_order_acquire) &&
        pthread_atfork(&HoldMaking, &LetMaking, &BeginChild) == 0) {
        g_watched.store(true, std::memory_order_release);
    }
    return g_epoch.load(std::memory_order_relaxed);
}

void MakeBetweenForks(void (*make)()) {
    const std::lock_guard<std::recursive_mutex> lock(g_making);
    make();
}

} // namespace httpclient::engine
