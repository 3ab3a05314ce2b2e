// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which files a file stream is opened on, letter by letter.
#pragma once

#include "setting/Log.h"

/// While it lives, notes the paths of the files that the thread which made it opens as streams, those that do
/// not exist included. One per thread at a time.
class OpenedFiles {
public:
    OpenedFiles();
    ~OpenedFiles();
    OpenedFiles(const OpenedFiles&) = delete;
    OpenedFiles& operator=(const OpenedFiles&) = delete;

    /// @return the paths so far, in order.
    Lines Paths() const;
};
