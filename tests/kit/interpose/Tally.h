// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts what a thread asks for, and names the one to refuse.
#pragma once

#include <cstddef>

namespace httpclient::testing {

/// Counts what one thread asks for while armed, and names the one to refuse. Plain data, so that it can be
/// thread-local in functions that may not allocate.
struct Tally {
    bool armed = false;
    std::size_t asked = 0;
    std::size_t refused = 0; ///< Which one to refuse, counted from 1; 0 for none.

    void Arm(std::size_t refuse) {
        asked = 0;
        refused = refuse;
        armed = true;
    }
    void Disarm() { armed = false; }
    /// Counts one. @return whether it is the one to refuse.
    bool Refuses() { return armed && ++asked == refused; }
};

} // namespace httpclient::testing
