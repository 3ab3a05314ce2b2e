// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the driver does, and what the runner expects of it.
#pragma once

/// Rounds of N and 2N requests. Of the counts of instructions the highest is taken: on a busy machine a
/// client that is held up finds the answer there without having waited for it, which costs less.
constexpr int ROUNDS = 3;
