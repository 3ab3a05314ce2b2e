// SPDX-License-Identifier: Apache-2.0
/// @file
/// The medians of all rounds, and how they are shown.
#pragma once

#include <string>
#include <vector>

#include "Goals.h"
#include "Round.h"

/// What a peer came to at a work; without any answer only the errors are there.
struct Result {
    std::string peer;
    Figures median;  ///< Of all rounds; the errors are the sum.
    Figures toFloor; ///< Medians of the ratios to the floor's figures of the same round.
};

/// The results of a work, in the order of the peers.
struct WorkResults {
    std::string name;
    std::string title;
    std::vector<Result> results;
    std::vector<Reached> goals = {};
};

/// The rounds of one peer, and those of the floor beside it. Rounds in which the peer was never answered are
/// left out of the medians.
Result Summarise(const std::string& peer, const std::vector<Figures>& rounds,
                 const std::vector<Figures>& floor);

/// @return medians of the ratios to another's figures of the same round; rounds in which either was never
///         answered are left out.
Figures MedianRatios(const std::vector<Figures>& rounds, const std::vector<Figures>& other);

/// Tables in Markdown, the goals last.
std::string AsTable(const std::vector<WorkResults>& works);
/// An object a line, a work's results and then its goals; tools/picture draws them, tools/performance-tables
/// writes them into the pages.
std::string AsJson(const std::vector<WorkResults>& works);
