// SPDX-License-Identifier: Apache-2.0
/// @file
/// What was measured, and what it has to reach.
#pragma once

#include <map>
#include <string>
#include <vector>

/// By their names in JSON: those of FIGURES that a work has.
using Figures = std::map<std::string, double>;

/// A figure, as tables name it.
struct FigureKind {
    const char* name;
    const char* title;
    int places; ///< behind the point
};

/// In the order of tables.
const std::vector<FigureKind>& FigureKinds();

/// The figures of each peer at a work, round by round; without an answer a round has no figures but "errors".
using RoundsByPeer = std::map<std::string, std::vector<Figures>>;

/// @return the medians of all rounds that have the figure; of "errors" the sum.
Figures Medians(const std::vector<Figures>& rounds);

/// A figure that a peer is to have at a work, at most.
struct Goal {
    std::string work;
    std::string peer;
    std::string figure;
    double most;
    std::string to; ///< Empty: the figure itself; else its ratio to that peer's of the same round.
};

/// What became of a goal.
struct Reached {
    Goal goal;
    double value; ///< the median

    bool Missed() const { return value > goal.most; }
};

const std::vector<Goal>& AllGoals();

/// @return the goals of a work for which there are figures.
std::vector<Reached> GoalsReached(const std::string& work, const RoundsByPeer& rounds);
