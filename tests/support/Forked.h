// SPDX-License-Identifier: Apache-2.0
/// @file
/// Test code in a process of its own, for what happens once per process: reading the environment, and the end.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>

#include <gtest/gtest.h>

#include "tests/support/Process.h"

namespace httpclient::testing {

/// Runs test code in a forked copy of this process, as RunForked() does; a failed expectation makes it exit with 1.
/// What a copy that did not exit with 0 wrote to standard output, its failed expectations above all, is shown there.
///
/// The copy has but one thread. What it is to see fresh must not have been used before.
inline Ended TestForked(const std::function<void()>& body) {
    Ended ended = RunForked([&body] {
        body();
        std::exit(::testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    });
    if (ended.exitCode != EXIT_SUCCESS) {
        static_cast<void>(std::fwrite(ended.out.data(), 1, ended.out.size(), stdout));
    }
    return ended;
}

} // namespace httpclient::testing
