// SPDX-License-Identifier: Apache-2.0
#include "Requests.h"

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

using namespace httpclient::testing;

std::string NameOf(HTTPOPERATIONTYPE verb) {
    switch (verb) {
    case HTTPOPERATION_GET:
        return "Get";
    case HTTPOPERATION_PUT:
        return "Put";
    case HTTPOPERATION_POST:
        return "Post";
    case HTTPOPERATION_DELETE:
        return "Delete";
    case HTTPOPERATION_HEAD:
        return "Head";
    default:
        return "None";
    }
}

void Fill(CHttpRequest& request, HTTPOPERATIONTYPE verb) {
    request.setVerb(verb);
    request.setUrlPath("/a/path/that/is/longer/than/a/short/string");
    request.addParam("parameter-with-a-long-name", "value-that-is-longer-than-a-short-string");
    request.addRequestHeadEntry("Authorization", SECRET_HEADER);
    request.setCustomCookieParam("cookie=" + SECRET_COOKIE);
    request.setAcceptEncoding("gzip");
    request.setContent(SECRET_BODY);
}

Reply AnswerAll(const RecordedRequest& request) {
    const Headers type{{"Content-Type", "text/plain"}};
    if (request.method == "HEAD") {
        return RespondHead(200, type);
    }
    return Respond(200, type, ANSWER);
}

TlsOptions WithoutResumption(TlsOptions options) {
    options.resumption = false;
    return options;
}

void ExpectNextToWork(const LoopbackServer& server, bool bSSL) {
    CHttpClient client;
    client.setDomain(server.address());
    client.setPort(server.port());
    if (bSSL) {
        client.setScheme("https");
    }
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/next");
    CHttpResponse response;
    EXPECT_EQ(client.synSendRequest(request, response, bSSL), 200);
}
