// SPDX-License-Identifier: Apache-2.0
/// @file
/// Why a command cannot do its work.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

/// Thrown by the commands, told to the operator by main. Its text never holds a secret.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// "<what>: <the text of errno>".
    static Failure FromErrno(const std::string& what) {
        return Failure(what + ": " + std::generic_category().message(errno));
    }
};
