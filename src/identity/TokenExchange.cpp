// SPDX-License-Identifier: Apache-2.0
// The exchange with the token service: the process's JWT for a service's token.
#include <json/value.h>

#include <ovexcommon/JsonReader.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "identity/HttpSiaToken.h"
#include "identity/MaintenanceService.h"
#include "support/Cancellation.h"
#include "support/Trace.h"

// Never destroyed, so that threads that outlive main() may still use it.
const std::string& g_strSiaTokenPath = *new std::string("/rest/sia/v1/tokens/jwt/sia");

namespace {

constexpr unsigned int CONNECT_TIMEOUT_SECONDS = 60;
constexpr int STATUS_OK = 200;
/// Twelve hours from receipt, whatever the service says.
constexpr time_t TOKEN_LIFE_SECONDS = 43200;

/// Sends the exchange's request. @return its status.
int Send(const std::string& service, const std::string& jwt, CHttpResponse& response) {
    CHttpRequest request;
    request.setUrlPath(g_strSiaTokenPath);
    request.setVerb(HTTPOPERATION_POST);
    request.setContentType("application/json");
    Json::Value body;
    body["jwt"] = jwt;
    body["domain"] = service;
    request.setContent(body.toStyledString());

    CHttpClient client;
    client.setTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE); // whatever new clients of the host's have
    client.setConnectTimeout(CONNECT_TIMEOUT_SECONDS);
    PointAtMaintenance(client);
    client.synSendRequest(request, response, true);
    return response.getStatusCode();
}

} // namespace

int CHttpSiaToken::RequestSiaToken(const std::string& service, SiaToken& out) {
    const std::string jwt = GetJwt();
    if (jwt.empty()) {
        return -1;
    }
    int result = -1;
    const auto exchange = [&] {
        CHttpResponse response;
        const int status = Send(service, jwt, response);
        Json::Value answer;
        if (status != STATUS_OK || !JsonReader(true).parse(response.getResponseBody(), answer)) {
            Trace<LogMessage::TokenRefused>(status);
            return;
        }
        out.token = answer["token"].asString();
        out.expire_at = time(nullptr) + TOKEN_LIFE_SECONDS;
        // Through an int: the text's %d is fixed.
        Trace<LogMessage::TokenObtained>(static_cast<int>(out.token.size()), static_cast<int>(out.expire_at));
        result = 0;
    };
    if (!Contained(exchange)) {
        Trace<LogMessage::TokenAnswerNotRead>();
    }
    return result;
}
