// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the platform's own services are.
#pragma once

#include <cstdint>
#include <string>

/// The port of those services.
constexpr std::uint16_t MAINTENANCE_PORT = 32018;

/// @return this host's address on the maintenance network, as the platform has it just now; "" when there is none.
std::string MaintenanceAddress();
