// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClientWrap.h>

#include "identity/MaintenanceService.h"

namespace {

std::unique_ptr<CHttpClient> MakeTimedClient(unsigned int connectTimeout, unsigned int requestTimeout) {
    auto client = std::make_unique<CHttpClient>();
    client->setConnectTimeout(connectTimeout);
    client->setRequestTimeout(requestTimeout);
    return client;
}

} // namespace

HttpClientWrap::HttpClientWrap() = default;

HttpClientWrap::~HttpClientWrap() = default;

std::unique_ptr<CHttpClient> HttpClientWrap::MakeClientPtr(const std::string& domain,
                                                           unsigned int connectTimeout,
                                                           unsigned int requestTimeout, int port, bool ssl) {
    auto client = MakeTimedClient(connectTimeout, requestTimeout);
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
    auto client = MakeTimedClient(connectTimeout, requestTimeout);
    PointAtMaintenance(*client);
    return client;
}
