// SPDX-License-Identifier: Apache-2.0
/// @file
/// Processes that trace: what the trace reads once per process, and does at its end, takes one of their own.
#pragma once

#include <cstdlib>
#include <functional>

#include "tests/support/Forked.h"

/// Runs the body in a forked copy of this process whose environment has these variables of the trace and no others.
/// This process must have neither threads nor used the service that the copy is to see fresh.
inline httpclient::testing::Ended RunInChild(const httpclient::testing::Variables& variables,
                                             const std::function<void()>& body) {
    return httpclient::testing::TestForked([&] {
        unsetenv("OVEX_TRACE_LEVEL");
        unsetenv("OVEX_TRACE_FILE");
        for (const auto& [name, value] : variables) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        body();
    });
}
