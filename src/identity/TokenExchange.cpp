// SPDX-License-Identifier: Apache-2.0
// The exchange with the token service: the process's JWT for a service's token.
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "identity/HttpSiaToken.h"
#include "identity/MaintenanceService.h"
#include "identity/TokenTexts.h"
#include "support/Cancellation.h"
#include "support/Cleansing.h"
#include "support/Trace.h"

namespace {

constexpr unsigned int CONNECT_TIMEOUT_SECONDS = 60;

/// Sends the exchange's request. @return its status.
int Send(const std::string& service, const std::string& jwt, CHttpResponse& response) {
    CHttpRequest request;
    request.setUrlPath(g_strSiaTokenPath);
    request.setVerb(HTTPOPERATION_POST);
    request.setContentType(g_strExchangeType);
    request.setContent(ExchangeContent(service, jwt));

    CHttpClient client;
    client.setTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE); // whatever new clients of the host's have
    client.setConnectTimeout(CONNECT_TIMEOUT_SECONDS);
    PointAtMaintenance(client);
    client.synSendRequest(request, response, true);
    return response.getStatusCode();
}

} // namespace

int CHttpSiaToken::RequestSiaToken(const std::string& service, SiaToken& out) {
    std::string jwt = GetJwt();
    const Cleansing cleansing(jwt);
    if (jwt.empty()) {
        return -1;
    }
    int result = -1;
    const auto exchange = [&] {
        CHttpResponse response;
        const int status = Send(service, jwt, response);
        if (ReadExchangeAnswer(status, response.getResponseBody(), out.token, out.expire_at)) {
            result = 0;
        }
    };
    if (!Contained(exchange)) {
        Trace<LogMessage::TokenAnswerNotRead>();
    }
    return result;
}
