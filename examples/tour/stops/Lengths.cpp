// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowLengths(Tour& tour) {
    const auto client = tour.NewClient();

    const Exchange known = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/bytes/26"));
    tour.ExpectNumber("a length that the server tells is the answer's", 26, known.length);

    const Exchange chunked = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/chunked"));
    tour.ExpectText("chunks arrive as one body", "one, two, three\n", chunked.body);
    tour.ExpectNumber("whose length is the answer's", static_cast<double>(chunked.body.size()),
                      chunked.length);

    const Exchange untilClose = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/until-close"));
    tour.ExpectText("a body may end where the connection ends", "this ends where the connection ends\n",
                    untilClose.body);
    tour.ExpectNumber("its length is the answer's too", static_cast<double>(untilClose.body.size()),
                      untilClose.length);

    const Exchange next = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/bytes/5"));
    tour.ExpectText("after that the next request connects anew", "xxxxx", next.body);
}

const Stop LENGTHS(80, "An answer without a length has the length of its body", ShowLengths);

} // namespace
} // namespace tour
