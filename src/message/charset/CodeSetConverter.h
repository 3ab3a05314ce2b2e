// SPDX-License-Identifier: Apache-2.0
/// @file
/// Character-set conversion for the whole process.
#pragma once

#include <string>

/// Converts text from one character set to another, with "?" for each undecodable byte and each
/// unrepresentable character. Conversions are opened once per pair of names, kept for the life of the
/// process, and used by any thread.
/// @param out the text up to its first NUL byte; unchanged when the result is -1.
/// @return 0, the number of replacements, or -1: no such set, an incomplete last character, or a text that
///         grows beyond twice its length and two bytes.
int ConvertCodeSet(const std::string& from, const std::string& to, const std::string& in, std::string& out);
