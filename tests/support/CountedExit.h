// SPDX-License-Identifier: Apache-2.0
/// @file
/// The end of a forked child that takes nothing down with it.
#pragma once

#include <unistd.h>

// Of the compiler's, where it counts which lines are reached; else there is none. NOLINTNEXTLINE(*-reserved-identifier,cert-*)
extern "C" void __gcov_dump() __attribute__((weak));

namespace httpclient::testing {

/// Ends a forked child as _exit() does. What of the library it has reached counts as reached.
[[noreturn]] inline void ExitCounted(int status) {
    if (__gcov_dump != nullptr) {
        __gcov_dump();
    }
    _exit(status);
}

} // namespace httpclient::testing
