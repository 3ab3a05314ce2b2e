// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stands before libiconv_open and the C library's iconv_open: counts the calls and fails them on request.
#pragma once

#include <string>

class OpenSeam {
public:
    /// Which opening is meant: the converter's, or the one below the adapter (never reached
    /// with GNU libiconv).
    enum class Level { Conversion, LibraryStep };

    /// Fails the openings at this level from the `nth` one on (1: the next one), until the seam is destroyed.
    OpenSeam(Level level, int nth);
    OpenSeam(const OpenSeam&) = delete;
    OpenSeam& operator=(const OpenSeam&) = delete;
    ~OpenSeam();

    /// How often the converter has opened a conversion between these names, failures included.
    static int Opened(const std::string& from, const std::string& to);
};
