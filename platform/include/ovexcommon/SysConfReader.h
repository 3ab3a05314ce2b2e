// SPDX-License-Identifier: Apache-2.0
/// @file
/// The platform's system configuration.
#pragma once

#include <string>

namespace Ovexcommon {

/// Reads the system configuration. Safe from any number of threads.
class __attribute__((visibility("default"))) SysConfReader {
public:
    /// @return the process's reader; never null, never destroyed.
    static SysConfReader* Instance();
    /// @return the IP address of the host on the maintenance network, as text; "" when the host has none.
    std::string getMaintenanceIPAddress();
};

} // namespace Ovexcommon
