// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where results go.
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>

/// Writes a text to a file; nothing where no path was given.
/// @throw std::runtime_error when it cannot be written.
inline void WriteFile(const std::string& path, const std::string& text) {
    if (!path.empty() && !(std::ofstream(path) << text << std::flush)) {
        throw std::runtime_error("cannot write " + path);
    }
}
