// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where passwords come from: standard input, the terminal, or chance. Never an argument.
#pragma once

#include <cstddef>
#include <string>

#include "Secret.h"

/// The longest password that the TLS code can take.
constexpr std::size_t MAX_PASSWORD = 1023;

/// Why a text cannot be a key password; null when it can.
const char* PasswordFault(const std::string& password);

/// Reads a password: asks for it on the terminal without echo when standard input is one, and else takes the
/// one line that standard input holds.
/// @param twice ask a second time on a terminal, as nothing else would show a slip.
Secret ReadPassword(bool twice);

/// A password that nobody needs to know.
Secret RandomPassword();
