// SPDX-License-Identifier: Apache-2.0
#include "identity/AuthConfig.h"

#include <ovexcommon/OvexCommonUtils.h>

// Never destroyed, so that threads that outlive main() may still use them.
const std::string& g_strAuthConfDir = *new std::string("/etc/authconf/jwt/");
const std::string& g_strSiaTokenPath = *new std::string("/rest/sia/v1/tokens/jwt/sia");

std::string AuthConfigPath(const std::string& fileName) {
    return OvexCommonUtils::Ovexgetenv("APP_ROOT") + g_strAuthConfDir + fileName;
}
