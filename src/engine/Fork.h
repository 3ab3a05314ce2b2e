// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the engine notices that it runs in a forked child.
#pragma once

#include <cstdint>

namespace httpclient::engine {

/// @return a number that is another one in every forked child. The first call has forks counted.
std::uint64_t ForkEpoch() noexcept;

} // namespace httpclient::engine
