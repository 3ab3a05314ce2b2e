// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

std::unique_ptr<CHttpRequest> WithParameters(HTTPOPERATIONTYPE verb) {
    auto request = NewRequest(verb, "/echo");
    request->addParam("b", std::vector<std::string>{"1", "2"});
    request->addParam("a", "x y&z");
    return request;
}

void ShowParameters(Tour& tour) {
    const auto client = tour.NewClient();
    const std::string rendered = "a=x%20y%26z&b=1&b=2";

    for (const auto verb : {HTTPOPERATION_GET, HTTPOPERATION_DELETE}) {
        const Exchange exchange = tour.Send(*client, *WithParameters(verb));
        tour.ExpectText(NameOf(verb) + " has them in its URL, by name, values escaped and in the order given",
                        NameOf(verb) + " /echo?" + rendered + " HTTP/1.1", FirstLine(exchange.sent));
    }
    for (const auto verb : {HTTPOPERATION_POST, HTTPOPERATION_PUT}) {
        const Exchange exchange = tour.Send(*client, *WithParameters(verb));
        tour.ExpectText(NameOf(verb) + " has them as its body", rendered, BodyOf(exchange.sent));
        tour.ExpectText("and not in its URL", NameOf(verb) + " /echo HTTP/1.1", FirstLine(exchange.sent));
    }

    const auto both = WithParameters(HTTPOPERATION_POST);
    both->setContent("a body of its own");
    const Exchange exchange = tour.Send(*client, *both);
    tour.ExpectText("a body of the request's own takes their place", "a body of its own",
                    BodyOf(exchange.sent));
}

const Stop PARAMETERS(30, "Parameters travel in the URL of GET and DELETE, and in the body of POST and PUT",
                      ShowParameters);

} // namespace
} // namespace tour
