// SPDX-License-Identifier: Apache-2.0
/// @file
/// The text of a trace line.
#pragma once

#include <string>

namespace Ovexcommon {

/// @return the text with each control character (below 0x20, and 0x7f) written as \n, \r, \t or \xHH,
///         so that it stays on one line and does nothing to a terminal. All other bytes stay as they
///         are, UTF-8 included.
std::string EscapeControlCharacters(const std::string& text);

/// @return "[level] [module] [thread] body" for the calling thread, with the body escaped.
std::string TraceLine(int level, int module, const std::string& body);

} // namespace Ovexcommon
