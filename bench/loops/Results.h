// SPDX-License-Identifier: Apache-2.0
/// @file
/// How results are shown.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Figures.h"
#include "Works.h"

/// What came out at a work, in the order of the peers.
struct WorkResults {
    Work work;
    std::vector<std::pair<std::string, Figures>> peers; ///< medians
    std::vector<Reached> goals;
};

/// Tables in Markdown, the goals last.
std::string AsTable(const std::vector<WorkResults>& works);
/// An object a line, a work's results and then its goals; tools/picture draws them, tools/performance-tables writes
/// them into the pages.
std::string AsJson(const std::vector<WorkResults>& works);
