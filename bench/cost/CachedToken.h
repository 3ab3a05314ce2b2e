// SPDX-License-Identifier: Apache-2.0
/// @file
/// Service identity as it is after the first exchange.
#pragma once

#include <string>

/// @return a token of usual length.
std::string MeasuredToken();

/// Switches service identity on or off.
void SwitchIdentity(bool on);

/// Switches service identity on and leaves that token, still valid, in the cache for a URL pattern.
void CacheToken(const std::string& pattern);
