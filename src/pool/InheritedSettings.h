// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a forked child's pool has from its parent's.
#pragma once

#include <cstdint>
#include <optional>

/// What a host sets of the pool.
struct PoolSettings {
    std::uint32_t maxConnNum;
    std::uint32_t maxConnCategory;
    std::int64_t releasedTime;
};

/// The settings that the next pool of this process begins with; none: the defaults. Guarded by the mutex
/// under which pools are made and ended.
inline std::optional<PoolSettings> g_inheritedSettings;
