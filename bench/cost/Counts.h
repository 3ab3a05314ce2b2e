// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts of the driver program, per request.
#pragma once

#include <array>
#include <map>
#include <string>

#include "CallgrindProfile.h"

/// The same work by the library and by libcurl alone; each has a process and a server of its own.
constexpr std::array WORK_NAMES{"floor-get",       "library-get",       "floor-post",        "library-post",
                                "floor-get-token", "library-get-token", "library-get-pooled"};

/// What one request of a kind of work costs.
struct Cost {
    double allocations = 0;
    std::map<std::string, double> instructions; ///< By object; empty when they were not counted.

    double TotalInstructions() const;
    /// Of the objects whose file name begins so.
    double InstructionsOf(const std::string& prefix) const;
};

using CostByWork = std::map<std::string, Cost>;

/// @return whether this machine can count instructions.
bool HasValgrind();

/// Runs the driver for each work against a server of its own, once for the allocations and, if asked for,
/// once under valgrind for the instructions.
/// @throw std::runtime_error when a run fails.
CostByWork CountCosts(const std::string& driver, int requests, bool withInstructions);
