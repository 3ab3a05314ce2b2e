// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpRequestWrap.h>

HttpRequestWrap::HttpRequestWrap() = default;

HttpRequestWrap::~HttpRequestWrap() = default;

std::unique_ptr<CHttpRequest> HttpRequestWrap::MakeRequestPtr(const std::string& urlPath,
                                                              const std::string& content,
                                                              HTTPOPERATIONTYPE verb) {
    auto request = std::make_unique<CHttpRequest>();
    request->setContent(content);
    request->setUrlPath(urlPath);
    request->setVerb(verb);
    request->setContentType("application/json");
    return request;
}

std::unique_ptr<CHttpRequest> HttpRequestWrap::MakeRequestPtrWithRouter(const std::string& urlPath,
                                                                        const std::string& requestId,
                                                                        HTTPOPERATIONTYPE verb,
                                                                        const std::string& content) {
    auto request = MakeRequestPtr(urlPath, content, verb);
    // The name speaks of a router; what the header carries is the request's identifier.
    request->addRequestHeadEntry("X-Request-Id", requestId);
    return request;
}
