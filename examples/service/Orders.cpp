// SPDX-License-Identifier: Apache-2.0
#include "Orders.h"

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequest.h>

namespace {

constexpr unsigned int CONNECT_SECONDS = 2;
constexpr int NOT_FOUND = 404;

std::unique_ptr<CHttpRequest> NewRequest(HTTPOPERATIONTYPE verb, const std::string& path) {
    auto request = std::make_unique<CHttpRequest>();
    request->setVerb(verb);
    request->setUrlPath(path);
    request->setAcceptCharset("UTF-8"); // what the parameters are in
    return request;
}

} // namespace

Orders::Orders(const std::string& host, int port, bool ssl, unsigned int seconds)
    : m_client(HttpClientWrap::MakeClientPtr(host, CONNECT_SECONDS, seconds, port, ssl)), m_ssl(ssl) {}

Orders::Outcome Orders::Send(const CHttpRequest& request, CHttpResponse& response) {
    const int status = m_client->synSendRequest(request, response, m_ssl);
    if (status >= 200 && status < 300) {
        return Outcome::Done;
    }
    return status == NOT_FOUND ? Outcome::Unknown : Outcome::Unavailable;
}

Orders::Outcome Orders::Place(const std::string& order) {
    const auto request = NewRequest(HTTPOPERATION_POST, "/orders");
    request->setContentType("application/json");
    request->setContent(order);
    CHttpResponse response;
    return Send(*request, response);
}

std::optional<std::string> Orders::Find(const std::string& id) {
    const auto request = NewRequest(HTTPOPERATION_GET, "/orders");
    request->addParam("id", id);
    request->setAcceptEncoding("gzip");
    CHttpResponse response;
    if (Send(*request, response) != Outcome::Done) {
        return std::nullopt;
    }
    return response.getResponseBody();
}

Orders::Outcome Orders::Cancel(const std::string& id, const std::string& reason) {
    const auto request = NewRequest(HTTPOPERATION_DELETE, "/orders/" + id);
    request->addParam("reason", reason);
    CHttpResponse response;
    return Send(*request, response);
}

bool Orders::Exists(const std::string& id) {
    CHttpResponse response;
    return Send(*NewRequest(HTTPOPERATION_GET, "/orders/" + id), response) == Outcome::Done;
}

void Orders::Announce(const std::string& what, void (*done)(const CHttpResponse&)) {
    const auto request = NewRequest(HTTPOPERATION_POST, "/changes");
    request->addParam("what", what);
    m_client->asynSendRequest(*request, done, m_ssl);
}
