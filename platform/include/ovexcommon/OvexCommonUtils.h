// SPDX-License-Identifier: Apache-2.0
/// @file
/// Small services of the platform.
#pragma once

#include <string>

/// Small services of the platform. Safe from any number of threads that do not change the environment.
class __attribute__((visibility("default"))) OvexCommonUtils {
public:
    /// @return the value of an environment variable; "" when it is unset.
    static std::string Ovexgetenv(const std::string& name);
};
