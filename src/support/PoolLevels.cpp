// SPDX-License-Identifier: Apache-2.0
#include "support/PoolLevels.h"

#include <atomic>

namespace {

std::atomic<PoolReader> g_reader{nullptr};
std::atomic<std::uint64_t> g_begun{0};
std::atomic<std::int64_t> g_waiting{0};

} // namespace

void PublishPoolReader(PoolReader reader) noexcept {
    g_reader.store(reader);
}

std::vector<PooledAddress> ReadPool() {
    const PoolReader reader = g_reader.load();
    return reader != nullptr ? reader() : std::vector<PooledAddress>();
}

PoolWait::PoolWait() noexcept {
    g_begun.fetch_add(1);
    g_waiting.fetch_add(1);
}

PoolWait::~PoolWait() {
    g_waiting.fetch_sub(1);
}

std::uint64_t PoolWait::begun() noexcept {
    return g_begun.load();
}

std::int64_t PoolWait::waiting() noexcept {
    return g_waiting.load();
}

void PoolWait::ForgetAll() noexcept {
    g_waiting.store(0);
}
