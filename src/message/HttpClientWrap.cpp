// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClientWrap.h>

#include <ovexcommon/SysConfReader.h>

#include "support/MaintenanceService.h"

std::unique_ptr<CHttpClient> HttpClientWrap::MakeClientPtr(const std::string& domain,
                                                           unsigned int connectTimeout,
                                                           unsigned int requestTimeout, int port, bool ssl) {
    auto client = std::make_unique<CHttpClient>();
    client->setConnectTimeout(connectTimeout);
    client->setRequestTimeout(requestTimeout);
    client->setDomain(domain);
    client->setPort(port);
    if (ssl) {
        client->setScheme("https");
        client->setSSLSupport();
    }
    return client;
}

std::unique_ptr<CHttpClient> HttpClientWrap::MakeSSLClientPtr(unsigned int connectTimeout,
                                                              unsigned int requestTimeout) {
    return MakeClientPtr(Ovexcommon::SysConfReader::Instance()->getMaintenanceIPAddress(), connectTimeout,
                         requestTimeout, MAINTENANCE_PORT, true);
}
