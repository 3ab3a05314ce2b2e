// SPDX-License-Identifier: Apache-2.0
/// @file
/// The promises that a target checks.
#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process, which makes the input a finding, unless the promise is kept.
inline void Require(bool kept, const char* promise) {
    if (kept) {
        return;
    }
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}
