// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the pool of CHttpClient's connections tells the shared engine: a host that tunes and ends the one means both.
#pragma once

#include <cstddef>
#include <cstdint>

namespace httpclient::engine {

/// Raises the shared engine's limit of connections per origin, now or when it is made; a lower value is ignored.
void RaiseSharedLimit(std::size_t perOrigin) noexcept;
/// Sets how long the shared engine keeps connections idle, now or when it is made. @param seconds 0 or less: no longer
/// than to the next look.
void SetSharedIdleTime(std::int64_t seconds) noexcept;
/// Shuts the shared engine down where there is one; its next use begins another, under the same options.
void EndSharedEngine() noexcept;

} // namespace httpclient::engine
