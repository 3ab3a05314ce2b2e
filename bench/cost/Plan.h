// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the driver does, and what the runner expects of it.
#pragma once

#include <array>

/// The same work by the library and by libcurl alone, in the order in which it is done; each has a server,
/// and so a connection, of its own. The token comes last, since service identity stays on.
constexpr std::array WORK_NAMES{"floor-get",    "library-get",     "floor-post",
                                "library-post", "floor-get-token", "library-get-token"};

/// Rounds of N and 2N requests. Of the counts of instructions the highest is taken: on a busy machine a
/// client that is held up finds the answer there without having waited for it, which costs less.
constexpr int ROUNDS = 3;
