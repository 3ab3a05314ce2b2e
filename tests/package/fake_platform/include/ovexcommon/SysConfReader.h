// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <string>
namespace Ovexcommon {
class SysConfReader {
public:
    static SysConfReader* Instance();
    std::string getMaintenanceIPAddress();
};
} // namespace Ovexcommon
