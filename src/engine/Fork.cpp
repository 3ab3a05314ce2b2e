// SPDX-License-Identifier: Apache-2.0
#include "engine/Fork.h"

#include <atomic>

#include <pthread.h>

namespace httpclient::engine {

namespace {

std::atomic<std::uint64_t> g_epoch{1};

void CountFork() {
    g_epoch.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

std::uint64_t ForkEpoch() noexcept {
    [[maybe_unused]] static const int watched = pthread_atfork(nullptr, nullptr, &CountFork);
    return g_epoch.load(std::memory_order_relaxed);
}

} // namespace httpclient::engine
