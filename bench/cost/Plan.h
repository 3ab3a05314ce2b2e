// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the driver does, and what the runner expects of it.
#pragma once

#include <array>

/// The same work by the library and by libcurl alone, in the order in which it is done; each has a server,
/// and so a connection, of its own. The token comes last, since service identity stays on.
constexpr std::array WORK_NAMES{"floor-get",    "library-get",     "floor-post",
                                "library-post", "floor-get-token", "library-get-token"};

/// Rounds of N and 2N requests. The cheapest counts: when the machine is busy the server answers late, and
/// libcurl asks for the answer once more.
constexpr int ROUNDS = 3;
