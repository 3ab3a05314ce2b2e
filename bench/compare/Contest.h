// SPDX-License-Identifier: Apache-2.0
/// @file
/// Interleaved rounds of all peers at a work.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Results.h"
#include "Round.h"

/// One that takes part, and how it is measured.
struct Contestant {
    std::string name;
    std::function<Figures(const Work&, double seconds)> measure;
    bool burstsOnly = false;
};

/// The floor first. What is no peer on its own, the library's asynchronous send, is among them.
const std::vector<Contestant>& AllContestants();

/// Those who take part in a work.
/// @param wanted by name; empty: all. The floor always takes part.
std::vector<Contestant> ContestantsOf(const Work& work, const std::vector<std::string>& wanted);

/// @param progress is told before each measurement whose it is.
/// @throw std::runtime_error when the floor is never answered in a round.
WorkResults Compare(const Work& work, const std::vector<Contestant>& contestants, int rounds, double seconds,
                    const std::function<void(const std::string& contestant)>& progress);
