// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the connections of the first road stand, for the statistics of the second, which knows nothing of its pool.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// How one address of the pool stands.
struct PooledAddress {
    std::string address; ///< "host:port"
    bool tls = false;
    std::size_t lent = 0;
    std::size_t idle = 0;
};

/// Reads the pool, if there is one.
using PoolReader = std::vector<PooledAddress> (*)();
/// Says what reads it, from when there is one.
void PublishPoolReader(PoolReader reader) noexcept;
/// @return how the pool's addresses stand; nothing where there is no pool. @throw std::bad_alloc
std::vector<PooledAddress> ReadPool();

/// While it lives, a send of the first road waits for a connection.
class PoolWait {
public:
    PoolWait() noexcept;
    ~PoolWait();
    PoolWait(const PoolWait&) = delete;
    PoolWait& operator=(const PoolWait&) = delete;

    static std::uint64_t begun() noexcept;  ///< so many so far
    static std::int64_t waiting() noexcept; ///< so many now
    static void ForgetAll() noexcept;       ///< in a forked child, which none of them came along to
};
