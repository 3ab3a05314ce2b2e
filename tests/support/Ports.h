// SPDX-License-Identifier: Apache-2.0
/// @file
/// Ports for servers of other programs, which cannot be told to take any free one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace httpclient::testing {

/// Where a server listens.
struct Endpoint {
    std::string address; ///< An IPv4 loopback address.
    std::uint16_t port = 0;
};

/// @return ports that were free a moment ago, all different.
/// @throw std::system_error when there are none.
std::vector<std::uint16_t> FreePorts(const std::string& address, std::size_t count);

/// @return whether somebody takes connections there.
bool Answers(const Endpoint& endpoint);

} // namespace httpclient::testing
