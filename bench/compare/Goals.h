// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the new door is to reach beside others.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Round.h"

/// The figures of each contestant, round by round.
using RoundsByName = std::map<std::string, std::vector<Figures>>;

/// A contestant at a work, beside another: ratios to the other's figures.
struct Goal {
    std::string work;
    std::string contestant;
    std::string to;
    double cpu; ///< At most; so with the median time.
    double p50;
};

/// What became of a goal: medians of the ratios of the same round.
struct Reached {
    Goal goal;
    double cpu;
    double p50;
};

const std::vector<Goal>& AllGoals();

/// @return the goals of a work both sides of which were answered in some round.
std::vector<Reached> GoalsReached(const std::string& work, const RoundsByName& rounds);
