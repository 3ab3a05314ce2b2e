// SPDX-License-Identifier: Apache-2.0
/// @file
/// What strict JSON asks of strings and numbers.
#pragma once

#include <string>

/// JsonCpp is lenient inside a token even in its strict mode: "+1", "01", "1." and "-" are numbers to it, a
/// string may hold raw control characters, and a NUL ends the text, whatever follows. This is the part that
/// it leaves out.
/// @return false when the text holds such a string, number or NUL. The grammar around the tokens is not
/// looked at.
bool HasStrictJsonTokens(const std::string& text);
