// SPDX-License-Identifier: Apache-2.0
#include "ovexcommon/OvexCommonUtils.h"

#include <cstdlib>

std::string OvexCommonUtils::Ovexgetenv(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    return value == nullptr ? std::string() : std::string(value);
}
