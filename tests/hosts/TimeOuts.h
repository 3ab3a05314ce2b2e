// SPDX-License-Identifier: Apache-2.0
/// @file
/// For hosts that tests run: a wait for a condition that times out is seen.
#pragma once

/// How a host ends that has waited in vain.
constexpr int WAITED_IN_VAIN = 3;

/// From here on, a wait for a condition that times out ends the host at once, with that status.
void EndOnTimeOuts();
