// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the engine notices that it runs in a forked child, and what no child may be forked amid.
#pragma once

#include <cstdint>

namespace httpclient::engine {

/// @return a number that is another one in every forked child. The first call has forks counted.
std::uint64_t ForkEpoch() noexcept;

/// Makes what a library makes at its first use and keeps. No child is forked meanwhile: it would have it half made, and
/// wait for ever for the thread that makes it. To be called after ForkEpoch().
/// @param make calls nothing of the host's.
void MakeBetweenForks(void (*make)());

} // namespace httpclient::engine
