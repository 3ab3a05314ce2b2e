// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowHead(Tour& tour) {
    const auto client = tour.NewClient();
    const Exchange head = tour.Send(*client, *NewRequest(HTTPOPERATION_HEAD, "/bytes/1234"));
    tour.ExpectText("HEAD is what the server reads", "HEAD /bytes/1234 HTTP/1.1", FirstLine(head.sent));
    tour.ExpectNumber("the status is returned", 200, head.status);
    tour.ExpectNumber("the length is that of the body which GET would get", 1234, head.length);

    // Deliberate: a transfer sets what its verb needs and resets nothing.
    tour.Note("A connection keeps what a transfer has set on it. The same one again, with GET:");
    const Exchange get = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/bytes/20"));
    tour.ExpectNumber("the GET after it is answered", 200, get.status);
    tour.Expect("but its body is not taken in: after a HEAD the connection is good for heads",
                get.body.find("xxx") == std::string::npos);
}

const Stop HEAD(20, "HEAD asks for the head alone", ShowHead);

} // namespace
} // namespace tour
