// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowHeaders(Tour& tour) {
    const auto client = tour.NewClient();
    const auto request = NewRequest(HTTPOPERATION_GET, "/echo");
    request->addRequestHeadEntry("b-last", "3");
    request->addRequestHeadEntry("a-second", "2");
    request->addRequestHeadEntry("Z-first", "1");
    request->setAccept("application/json");
    request->setForwardFilter("on");
    tour.Expect("a name that is there already is accepted", request->addRequestHeadEntry("Z-first", "one"));

    const Exchange exchange = tour.Send(*client, *request);
    tour.Expect("headers go out in byte order of their names, capitals first",
                exchange.sent.find("Accept_MIME:application/json\r\nXX-Forward-Filter:on\r\n"
                                   "Z-first:1\r\na-second:2\r\nb-last:3\r\n") != std::string::npos);
    tour.Expect("the first value of a name stays",
                HasLine(exchange.sent, "Z-first:1") && !HasLine(exchange.sent, "Z-first:one"));

    const Exchange next = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/echo"));
    tour.Expect("the next request on the connection has none of them",
                next.sent.find("Z-first") == std::string::npos);
}

const Stop HEADERS(50, "Headers go out in the order of their names, and the first value of a name stays",
                   ShowHeaders);

} // namespace
} // namespace tour
