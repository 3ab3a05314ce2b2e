// SPDX-License-Identifier: Apache-2.0
/// @file
/// The little text handling that HTTP's heads need.
#pragma once

#include <string_view>

namespace httpclient::testing {

/// @return whether two texts are the same, letter case (of ASCII) aside.
bool SameIgnoringCase(std::string_view left, std::string_view right);
/// @return the text without blanks and tabs around it.
std::string_view Trimmed(std::string_view text);

} // namespace httpclient::testing
