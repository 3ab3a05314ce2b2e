// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <string>
class OvexCommonUtils {
public:
    static std::string Ovexgetenv(const std::string& name);
};
