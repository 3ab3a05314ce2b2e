// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts of the driver program, per request.
#pragma once

#include <array>
#include <map>
#include <string>

#include "CallgrindProfile.h"
#include "tests/support/SystemCalls.h"

/// The same work by the library's two roads, by the STRICT door to the second, and by libcurl alone; each has a process
/// and a server of its own. Those of the second road with a token are compared with those beside one: what the allocator
/// does depends on what the exchange has left.
constexpr std::array WORK_NAMES{"floor-get",
                                "library-get",
                                "floor-post",
                                "library-post",
                                "floor-get-token",
                                "library-get-token",
                                "library-get-pooled",
                                "client-get",
                                "client-get-beside-token",
                                "client-get-token",
                                "client-post",
                                "strict-get",
                                "strict-get-beside-token",
                                "strict-get-token",
                                "strict-post",
                                "async-get",
                                "async-get-20",
                                "strict-asyn-get"};

/// What one request of a kind of work costs.
struct Cost {
    double allocations = 0;
    std::map<std::string, double> instructions; ///< By object; empty when they were not counted.

    httpclient::testing::SystemCallsByName
        systemCalls; ///< Of the calling thread, of all where calls are asynchronous; empty when they were not counted.

    double TotalInstructions() const;
    /// Of the objects whose file name begins so.
    double InstructionsOf(const std::string& prefix) const;
    double TotalSystemCalls() const;
};

using CostByWork = std::map<std::string, Cost>;

/// Counts the instructions with which a GET is counted for the statistics, everything that they call included. It has a
/// label, whose counts have to be looked for. Needs valgrind.
/// @throw std::runtime_error when the run fails.
double CountCountingInstructions(const std::string& driver, int requests);

/// @return whether this machine can count instructions.
bool HasValgrind();

/// What is counted beside the allocations.
struct Wanted {
    bool instructions = true; ///< Needs valgrind.
    bool systemCalls = true;  ///< Needs the right to watch a child.
};

/// Runs the driver for each work against a server of its own, once for the allocations and once more for each
/// of what else is wanted.
/// @throw std::runtime_error when a run fails.
CostByWork CountCosts(const std::string& driver, int requests, const Wanted& wanted);
