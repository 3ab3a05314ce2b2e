// SPDX-License-Identifier: Apache-2.0
#include "demo/Upstream.h"

#include <httplib.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

namespace demo {
namespace {

using httpclient::Client;
using httpclient::ClientOptions;

constexpr std::chrono::seconds TIMEOUT(5);

/// Gets a page of the other server, and passes its status and body on.
void Forward(const Client& client, const httplib::Request& request, httplib::Response& response) {
    httpclient::Request onward(httpclient::Method::Get, request.matches[1].str());
    onward.label("/upstream");
    httpclient::Result result = client.Send(onward);
    if (!result) {
        response.status = result.failure().kind() == httpclient::FailureKind::Timeout ? 504 : 502;
        response.set_content(result.failure().message() + "\n", "text/plain");
        return;
    }
    response.status = result->status();
    response.set_content(result->body(),
                         std::string(result->header("Content-Type").value_or("text/plain")).c_str());
}

/// What the engine has counted, for Prometheus. It takes no lock that calls wait for.
void Metrics(const httplib::Request&, httplib::Response& response) {
    response.set_content(httpclient::Engine::Shared().metricsText(),
                         "text/plain; version=0.0.4; charset=utf-8");
}

} // namespace

void AddUpstream(httplib::Server& server, const std::string& origin) {
    const Client client(ClientOptions(origin).timeout(TIMEOUT));
    server.Get("/upstream(/.*)", [client](const httplib::Request& request, httplib::Response& response) {
        Forward(client, request, response);
    });
    server.Get("/metrics", Metrics);
}

} // namespace demo
