// SPDX-License-Identifier: Apache-2.0
/// @file
/// Service identity as it is after the first exchange.
#pragma once

#include <cstddef>
#include <string>

/// The service that the measured token is of.
constexpr const char* MEASURED_SERVICE = "MeasuredService";

/// @return a token of usual length.
inline std::string MeasuredToken() {
    constexpr std::size_t LENGTH = 800; // that of a usual signed token
    return std::string(LENGTH, 't');
}

/// Switches service identity on or off.
void SwitchIdentity(bool on);

/// Switches service identity on and leaves that token, still valid, in the first road's cache for a URL pattern. The
/// second road exchanges a credential for it once, where there is a TokenService.
void CacheToken(const std::string& pattern);
