// SPDX-License-Identifier: Apache-2.0
/// @file
/// What callgrind counted.
#pragma once

#include <map>
#include <string>

/// Instructions by the file name of the library (or program) that executed them.
using InstructionsByObject = std::map<std::string, long long>;

/// Reads one dump.
/// @throw std::runtime_error when it cannot be read.
InstructionsByObject ReadProfile(const std::string& path);
