// SPDX-License-Identifier: Apache-2.0
#include "send/Sender.h"

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace sender {

void Outcome::TakeOver(const CHttpResponse& response) {
    head = response.getResponseHead();
    body = response.getResponseBody();
    type = response.getContentType();
    charset = response.getCharset();
    length = response.getContentLen();
}

Outcome SendAndWait(CHttpClient& client, const CHttpRequest& request, bool tls) {
    Outcome outcome;
    CHttpResponse response; // a new one each time: the content type of an old one would stay
    const auto start = std::chrono::steady_clock::now();
    outcome.status = client.synSendRequest(request, response, tls);
    outcome.time = std::chrono::steady_clock::now() - start;
    outcome.TakeOver(response);
    return outcome;
}

} // namespace sender
