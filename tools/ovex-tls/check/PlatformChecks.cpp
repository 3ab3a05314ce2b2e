// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <pwd.h>
#include <unistd.h>

#include <ovexcommon/OvexCommonUtils.h>
#include <ovexcommon/SysConfReader.h>
#include <vorncipher/VornMasterKey.h>

#include "check/Checks.h"

namespace {

constexpr const char* NO_EXCHANGE = "each token exchange fails, so that requests go out without a token";

bool IsAddress(const std::string& text) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, text.c_str(), address) == 1 || inet_pton(AF_INET6, text.c_str(), address) == 1;
}

} // namespace

void CheckUser(Inspection& inspection) {
    const passwd* entry = getpwuid(geteuid());
    const std::string name = entry != nullptr ? entry->pw_name : std::to_string(geteuid());
    if (geteuid() == 0) {
        inspection.report.Note("checked as " + name +
                               ", who can read everything; --user checks as another user");
    } else {
        inspection.report.Ok("checked as " + name);
    }
}

void CheckMasterKey(Inspection& inspection) {
    const std::string path = OvexCommonUtils::Ovexgetenv("VORN_KEY_FILE");
    const int status = VornMasterKey::Check(path);
    if (status == VORN_OK) {
        inspection.report.Ok(path);
        return;
    }
    inspection.report.Error((path.empty() ? "" : path + ": ") + VornStatusText(status),
                            "the key password is not decrypted, and TLS handshakes that want the process's "
                            "certificate fail");
}

void CheckMaintenanceAddress(Inspection& inspection) {
    Report& report = inspection.report;
    const std::string address = Ovexcommon::SysConfReader::Instance()->getMaintenanceIPAddress();
    if (address.empty() && inspection.identityOn) {
        report.Error("the host has no maintenance address", NO_EXCHANGE);
    } else if (address.empty()) {
        report.Note("the host has no maintenance address",
                    "clients made for the maintenance address have no host to call");
    } else if (!IsAddress(address)) {
        report.Warning("the maintenance address is no IP address: " + address,
                       "it is resolved as a host name");
    } else {
        report.Ok(address);
    }
}
