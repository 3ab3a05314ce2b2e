// SPDX-License-Identifier: Apache-2.0
/// @file
/// Files for one's own eyes.
#pragma once

#include <filesystem>
#include <string_view>

namespace httpclient::testing {

/// Writes text to a new file of mode 0600, which is never open to others, not even while it is being written.
/// An old file of that name goes first.
/// @throw std::system_error when it cannot be written.
void WritePrivateFile(const std::filesystem::path& path, std::string_view content);

} // namespace httpclient::testing
