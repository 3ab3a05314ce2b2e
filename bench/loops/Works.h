// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is compared.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// How calls are made.
enum class Manner {
    Steady,     ///< each followed by another, until the time is over
    Burst,      ///< all at once, on connections that are kept
    BurstAnew,  ///< all at once, on new connections
    Cancelling, ///< one after another is cancelled, beside others
};

/// So many calls at the same time.
struct Work {
    std::string name;  ///< For options and JSON.
    std::string title; ///< For people.
    Manner manner;
    std::size_t inFlight;
    std::chrono::milliseconds answeredAfter;
};

const std::vector<Work>& AllWorks();
