// SPDX-License-Identifier: Apache-2.0
// The reference platform knows one setting: the maintenance address. The environment variable
// OVEX_MAINTENANCE_IP gives it, even when it is set to nothing; without it the member "maintenanceIPAddress"
// of the file "etc/sysconf.json" under APP_ROOT does. The file is read at each call, because it may change.
#include "ovexcommon/SysConfReader.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "ovexcommon/JsonReader.h"
#include "ovexcommon/OvexCommonUtils.h"

namespace {

constexpr const char* MAINTENANCE_VARIABLE = "OVEX_MAINTENANCE_IP";
constexpr const char* MAINTENANCE_MEMBER = "maintenanceIPAddress";

// "" when there is no such file. Only a regular file is read: anything else might never end.
std::string ReadSystemConfiguration() {
    const std::string root = OvexCommonUtils::Ovexgetenv("APP_ROOT");
    const std::filesystem::path path = root + "/etc/sysconf.json";
    if (root.empty() || !std::filesystem::is_regular_file(path)) {
        return std::string();
    }
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string MaintenanceAddressOf(const std::string& configuration) {
    Json::Value root;
    if (!JsonReader(false).parse(configuration, root) || !root.isObject()) {
        return std::string();
    }
    const Json::Value& address = root[MAINTENANCE_MEMBER];
    return address.isString() ? address.asString() : std::string();
}

} // namespace

namespace Ovexcommon {

SysConfReader* SysConfReader::Instance() {
    // Never destroyed, so that threads that outlive main may still ask.
    static SysConfReader* const instance = new SysConfReader;
    return instance;
}

std::string SysConfReader::getMaintenanceIPAddress() {
    const char* const address = std::getenv(MAINTENANCE_VARIABLE);
    if (address != nullptr) {
        return address;
    }
    try {
        return MaintenanceAddressOf(ReadSystemConfiguration());
    } catch (const std::exception&) {
        // Whatever is broken about the file, the host has no maintenance address then.
        return std::string();
    }
}

} // namespace Ovexcommon
