// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts of the driver program, per request.
#pragma once

#include <map>
#include <string>

#include "CallgrindProfile.h"

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

/// Runs the driver against servers of its own, once for the allocations and, with valgrind there, once for
/// the instructions.
/// @throw std::runtime_error when a run fails.
CostByWork CountCosts(const std::string& driver, int requests, bool withInstructions);
