// SPDX-License-Identifier: Apache-2.0
/// @file
/// Addresses that need no look-up, and ports.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "net/Net.h"

namespace httpclient::net {

/// @return an IPv4 or IPv6 address of its text ("10.0.0.1", "::1", "fe80::1%eth0", without brackets), port 0; none if
///         it is something else.
std::optional<Endpoint> NumericAddress(const std::string& text);
/// @return whether the text is an IPv4 or IPv6 address without a scope, as certificates name it.
bool IsAddress(const std::string& text);
/// @return the address of a Unix socket; none when the path is empty, too long or holds a NUL.
std::optional<Endpoint> UnixAddress(const std::string& path);
/// Sets the port of an IPv4 or IPv6 address; others are left alone.
void SetPort(Endpoint& endpoint, std::uint16_t port);

} // namespace httpclient::net
