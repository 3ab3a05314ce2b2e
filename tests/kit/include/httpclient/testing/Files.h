// SPDX-License-Identifier: Apache-2.0
/// @file
/// Files for one's own eyes, read and written whole.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace httpclient::testing {

/// Writes text to a new file of mode 0600, which is never open to others, not even while it is being written.
/// An old file of that name goes first.
/// @throw std::system_error when it cannot be written.
void WritePrivateFile(const std::filesystem::path& path, std::string_view content);

/// @return the bytes of a file; "" when it cannot be read.
std::string ReadFile(const std::filesystem::path& path);

} // namespace httpclient::testing
