// SPDX-License-Identifier: Apache-2.0
/// @file
/// The platform's own services on the maintenance network.
#pragma once

/// The port that they listen on.
constexpr int MAINTENANCE_PORT = 32018;
