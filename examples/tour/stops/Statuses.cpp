// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowStatuses(Tour& tour) {
    const auto client = tour.NewClient();
    CHttpResponse response;
    const Exchange forbidden = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/forbidden"), response);
    tour.ExpectNumber("403 is returned, and sent once when no token is in play", 403, forbidden.status);
    tour.ExpectNumber("the response has the status, too", 403, response.getStatusCode());
    tour.ExpectText("with the body", "You shall not pass.\n", forbidden.body);
    tour.ExpectText("the head", "HTTP/1.1 403 Forbidden", FirstLine(forbidden.head));
    tour.ExpectText("the content type", "text/plain; charset=UTF-8", forbidden.type);
    tour.ExpectText("and the character set in it", "UTF-8", forbidden.charset);

    const Exchange broken = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/status/503"));
    tour.ExpectNumber("a server's own failure is an answer as well", 503, broken.status);

    tour.Note("The first response once more, for another answer:");
    const Exchange bytes = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/bytes/3"), response);
    tour.ExpectText("status, head and body are the new ones", "xxx", bytes.body);
    tour.ExpectText("the content type is the first one: use a new response for each request",
                    "text/plain; charset=UTF-8", bytes.type);
}

const Stop STATUSES(90, "Every status is an answer, with its head and body", ShowStatuses);

} // namespace
} // namespace tour
