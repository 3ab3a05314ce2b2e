// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowGzip(Tour& tour) {
    const auto client = tour.NewClient();
    const auto request = NewRequest(HTTPOPERATION_GET, "/gzip");
    request->setAcceptEncoding("gzip");
    const Exchange exchange = tour.Send(*client, *request);
    tour.Expect("the server answers in gzip", HasLine(exchange.received, "Content-Encoding: gzip"));
    tour.ExpectText("the body is the plain text", "All work and no play makes a dull text.",
                    exchange.body.substr(0, exchange.body.find('\n')));
    tour.ExpectNumber("all of it", 100 * 40, static_cast<double>(exchange.body.size()));
    tour.ExpectNumber("the length is the server's, of what went over the wire",
                      static_cast<double>(BodyOf(exchange.received).size()), exchange.length);
}

const Stop GZIP(70, "An answer in gzip arrives decoded", ShowGzip);

} // namespace
} // namespace tour
