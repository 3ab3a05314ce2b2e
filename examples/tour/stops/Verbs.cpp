// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowVerb(Tour& tour, CHttpClient& client, HTTPOPERATIONTYPE verb, const std::string& body) {
    const auto request = NewRequest(verb, "/echo");
    request->setContent(body);
    const Exchange exchange = tour.Send(client, *request);
    tour.ExpectText(NameOf(verb) + " is what the server reads", NameOf(verb) + " /echo HTTP/1.1",
                    FirstLine(exchange.sent));
    tour.ExpectText("it carries " + (body.empty() ? std::string("no body") : "the body as it was given"),
                    body, BodyOf(exchange.sent));
    tour.ExpectNumber("the answer's status is returned", 200, exchange.status);
}

void ShowVerbs(Tour& tour) {
    // Not HEAD: it has a stop of its own, for what it leaves behind.
    const auto client = tour.NewClient();
    ShowVerb(tour, *client, HTTPOPERATION_GET, "");
    ShowVerb(tour, *client, HTTPOPERATION_PUT, "{\"name\":\"put\"}");
    ShowVerb(tour, *client, HTTPOPERATION_POST, "{\"name\":\"post\"}");
    ShowVerb(tour, *client, HTTPOPERATION_DELETE, "");
    tour.ExpectNumber("one connection carried them all", 1, tour.Connections());
}

const Stop VERBS(10, "Each verb reaches the server as itself", ShowVerbs);

} // namespace
} // namespace tour
