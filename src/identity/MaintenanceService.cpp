// SPDX-License-Identifier: Apache-2.0
#include "identity/MaintenanceService.h"

#include <string>

#include <ovexcommon/SysConfReader.h>

#include <httpclient/HttpClient.h>

#include "support/Cancellation.h"

namespace {

constexpr int MAINTENANCE_PORT = 32018;

/// The platform may read a file for it, which a cancellation would not leave whole.
std::string MaintenanceAddress() {
    const CancellationBlock block;
    return Ovexcommon::SysConfReader::Instance()->getMaintenanceIPAddress();
}

} // namespace

void PointAtMaintenance(CHttpClient& client) {
    client.setDomain(MaintenanceAddress());
    client.setPort(MAINTENANCE_PORT);
    client.setScheme("https");
    client.setSSLSupport();
}
