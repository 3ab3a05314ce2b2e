// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowCookies(Tour& tour) {
    const auto client = tour.NewClient();
    const auto request = NewRequest(HTTPOPERATION_GET, "/cookie");
    request->setCustomCookieParam("session=42; theme=dark");
    const Exchange exchange = tour.Send(*client, *request);
    tour.Expect("the cookie is a header of the request",
                HasLine(exchange.sent, "Cookie: session=42; theme=dark"));
    tour.ExpectText("the server got it", "session=42; theme=dark\n", exchange.body);

    const Exchange next = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/cookie"));
    tour.ExpectText("the next request on the connection has none", "no cookie\n", next.body);
}

const Stop COOKIES(60, "A cookie goes out as it is given, with its own request only", ShowCookies);

} // namespace
} // namespace tour
