// SPDX-License-Identifier: Apache-2.0
#include "identity/MaintenanceService.h"

#include <httpclient/HttpClient.h>

#include "identity/MaintenanceAddress.h"

void PointAtMaintenance(CHttpClient& client) {
    client.setDomain(MaintenanceAddress());
    client.setPort(MAINTENANCE_PORT);
    client.setScheme("https");
    client.setSSLSupport();
}
