// SPDX-License-Identifier: Apache-2.0
/// @file
/// The times of a call as they are taken.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>

#include <httpclient/Result.h>

namespace httpclient {

/// How long each phase took so far.
class Timings::Body {
public:
    static constexpr std::size_t PHASES = static_cast<std::size_t>(Phase::Body) + 1;

    std::array<std::chrono::nanoseconds, PHASES> phases{};
    std::chrono::nanoseconds total{};
    bool copied = false; ///< belongs to the Timings that refers to it, not to a response or failure

    void Add(Phase phase, std::chrono::nanoseconds time) { phases[static_cast<std::size_t>(phase)] += time; }
};

} // namespace httpclient
