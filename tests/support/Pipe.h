// SPDX-License-Identifier: Apache-2.0
/// @file
/// A pipe, whose ends close themselves and are not inherited by programs.
#pragma once

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "tests/kit/src/Descriptor.h"

namespace httpclient::testing {

/// A pipe, whose ends close themselves and are not inherited by programs.
struct Pipe {
    /// @throw std::system_error when there is none.
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        toRead = Descriptor(ends[0]);
        toWrite = Descriptor(ends[1]);
    }

    Descriptor toRead;
    Descriptor toWrite;
};

} // namespace httpclient::testing
