// SPDX-License-Identifier: Apache-2.0
/// @file
/// The option that names the master key file.
#pragma once

#include <CLI/CLI.hpp>

/// Adds --key-file. Its value goes where the cipher looks for it: into VORN_KEY_FILE of this process.
void AddKeyFileOption(CLI::App& command);
