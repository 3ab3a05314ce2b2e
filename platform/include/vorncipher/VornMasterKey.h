// SPDX-License-Identifier: Apache-2.0
/// @file
/// The master key file of the platform's key-management cipher.
#pragma once

#include <string>

#include <vorncipher/VornStatus.h>

/// The master key file, for the operator's tools. The key itself never leaves the platform library.
/// Safe from any number of threads.
class __attribute__((visibility("default"))) VornMasterKey {
public:
    /// Makes a master key file of mode 0600. Never overwrites anything.
    /// @return VORN_OK or another VornStatus; on failure no file is left behind.
    static int Make(const std::string& path);

    /// Looks a master key file over exactly as the cipher does before it uses one.
    /// @return VORN_OK or another VornStatus.
    static int Check(const std::string& path);
};
