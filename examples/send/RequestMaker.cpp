// SPDX-License-Identifier: Apache-2.0
#include "send/RequestMaker.h"

#include <httpclient/HttpClientWrap.h>

namespace sender {

std::unique_ptr<CHttpRequest> MakeRequest(const Options& options) {
    auto request = std::make_unique<CHttpRequest>();
    request->setVerb(options.verb);
    request->setUrlPath(options.target.path);
    request->setContent(options.body);
    request->setCustomCookieParam(options.cookie);
    for (const auto& [name, value] : options.headers) {
        request->addRequestHeadEntry(name, value);
    }
    for (const auto& [name, values] : options.parameters) {
        request->addParam(name, values);
    }
    return request;
}

std::unique_ptr<CHttpClient> MakeClient(const Options& options) {
    return HttpClientWrap::MakeClientPtr(options.target.host, options.connectTimeout, options.requestTimeout,
                                         options.target.port, options.target.Tls());
}

} // namespace sender
