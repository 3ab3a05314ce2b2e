// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts that tests compare with a file of the tree, where a change shows as a difference.
#pragma once

#include <string>
#include <vector>

/// Fails the test unless the text equals the file's. With UPDATE_GOLDEN_FILES set in the environment the file
/// is written instead.
void ExpectGolden(const std::string& path, const std::string& text);

/// @return bytes with their control characters shown, one line per line feed, each indented.
std::string Shown(const std::string& bytes, const std::string& indent);

/// @return a heading and the lines below it, each indented, and an empty line.
std::string Section(const std::string& heading, const std::vector<std::string>& lines);
