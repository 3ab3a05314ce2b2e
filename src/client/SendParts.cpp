// SPDX-License-Identifier: Apache-2.0
#include "client/SendParts.h"

#include <utility>

#include <httpclient/HttpRequest.h>

#include "support/Cleansing.h"

// By way of another constructor, so that what has been read is wiped when memory runs out for the rest.
SendParts::SendParts(const CHttpRequest& request, std::string urlWithoutParameters, OwnBody ownBody)
    : SendParts(request.getVerb(), std::move(urlWithoutParameters)) {
    PlaceParameters(request);
    acceptEncoding = request.getAcceptEncoding();
    cookie = request.getCustomCookieParam();
    std::string body = ownBody == OwnBody::Sent ? request.getContent() : "";
    if (!body.empty()) {
        content = std::move(body);
    }
}

SendParts::SendParts(HTTPOPERATIONTYPE requestVerb, std::string&& urlWithoutParameters)
    : verb(requestVerb), url(std::move(urlWithoutParameters)) {}

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
