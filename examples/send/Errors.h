// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace sender {

/// The caller asked for what cannot be done; the text says what, and what to do about it.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An answer came but could not be written where it was wanted.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace sender
