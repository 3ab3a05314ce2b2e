// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the identity's configuration lies.
#pragma once

#include <string>

/// The directory of the configuration, below the application's root.
extern const std::string& g_strAuthConfDir;
/// The path of the token exchange at the token service.
extern const std::string& g_strSiaTokenPath;

/// @return the full path of a configuration file: the value of APP_ROOT, the directory, the name, joined as
///         they are.
std::string AuthConfigPath(const std::string& fileName);
