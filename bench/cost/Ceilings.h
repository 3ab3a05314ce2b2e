// SPDX-License-Identifier: Apache-2.0
/// @file
/// The most that a measure may be.
#pragma once

#include <functional>
#include <map>
#include <string>

/// Measures by name.
using Measures = std::map<std::string, double>;

/// Compares measures with a table of ceilings, and prints each comparison. Lines of the table: measure,
/// ceiling in a Release build, ceiling in a Debug build, "-" for none; "#" begins a comment.
/// @param counted tells whether a measure could be had; the ceilings of others are left out.
/// @return whether every measure is below its ceiling.
/// @throw std::runtime_error when the table cannot be read or names a measure that there is not.
bool CheckCeilings(const std::string& path, const std::string& buildType, const Measures& measures,
                   const std::function<bool(const std::string& measure)>& counted);
