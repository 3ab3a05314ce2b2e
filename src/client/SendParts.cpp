// SPDX-License-Identifier: Apache-2.0
#include "client/SendParts.h"

#include <utility>

#include <httpclient/HttpRequest.h>

#include "support/Cleansing.h"

SendParts::SendParts(const CHttpRequest& request, std::string urlWithoutParameters, OwnBody ownBody)
    : verb(request.getVerb()), url(std::move(urlWithoutParameters)) {
    PlaceParameters(request);
    acceptEncoding = request.getAcceptEncoding();
    cookie = request.getCustomCookieParam();
    // The body comes last: nothing that fails after it would leave a part of it behind.
    std::string body = ownBody == OwnBody::Sent ? request.getContent() : "";
    if (!body.empty()) {
        content = std::move(body);
    }
}

SendParts::~SendParts() {
    Cleanse(content);
    Cleanse(cookie);
}

void SendParts::PlaceParameters(const CHttpRequest& request) {
    if (request.getParamNums() == 0) {
        return;
    }
    if (verb == HTTPOPERATION_GET || verb == HTTPOPERATION_DELETE) {
        url += request.getParamsAppendInURL();
    } else {
        content = request.getParamsAppendInURL();
    }
}
