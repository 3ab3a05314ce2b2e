// SPDX-License-Identifier: Apache-2.0
#include "engine/SharedEngine.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "engine/Engines.h"
#include "support/Cancellation.h"

namespace httpclient::engine {

namespace {

/// Memory that runs out here must not fail what the pool itself was asked for: then the shared engine goes without.
template <class Tell> void WhereThereIsMemory(const Tell& tell) noexcept {
    const CancellationBlock block; // calls may be woken, which is a cancellation point
    try {
        tell(*Engine::Body::Shared());
    } catch (const std::exception&) {
        return;
    }
}

} // namespace

void RaiseSharedLimit(std::size_t perOrigin) noexcept {
    WhereThereIsMemory([=](Engine::Body& shared) { shared.RaisePerOrigin(perOrigin); });
}

void SetSharedIdleTime(std::int64_t seconds) noexcept {
    constexpr std::int64_t LONGEST =
        366L * 24 * 60 * 60; // a year: beyond it the clock's arithmetic is no concern
    const std::chrono::milliseconds time =
        std::chrono::seconds(std::clamp<std::int64_t>(seconds, 0, LONGEST));
    WhereThereIsMemory(
        [=](Engine::Body& shared) { shared.SetIdleTimeout(std::max(time, std::chrono::milliseconds(1))); });
}

void EndSharedEngine() noexcept {
    WhereThereIsMemory([](Engine::Body& shared) { shared.Renew(); });
}

} // namespace httpclient::engine
