// SPDX-License-Identifier: Apache-2.0
/// @file
/// The subcommands. Each function adds one to the command line; main runs the one that was chosen.
#pragma once

#include <CLI/CLI.hpp>

void AddInitKey(CLI::App& app);
void AddEncrypt(CLI::App& app);
void AddLayout(CLI::App& app);
/// @param[out] exitCode what `check` found.
void AddCheck(CLI::App& app, int& exitCode);
