// SPDX-License-Identifier: Apache-2.0
#include <chrono>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowTimeouts(Tour& tour) {
    const auto client = tour.NewClient();
    client->setRequestTimeout(1);
    const auto start = std::chrono::steady_clock::now();
    const Exchange slow = tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/slow/1500"));
    const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
    tour.ExpectNumber("an answer that takes longer than the request time-out is given up", -1, slow.status);
    tour.ExpectLogged("[5] HTTP synSendRequest::HttpGet curl_easy_perform call failed, error no is:28",
                      slow.log);
    tour.Expect("no sooner than that", waited.count() >= 0.99);

    client->setRequestTimeout(20);
    tour.ExpectNumber("the next request is answered", 200,
                      tour.Send(*client, *NewRequest(HTTPOPERATION_GET, "/bytes/5")).status);
}

const Stop TIMEOUTS(110, "A time-out ends the wait for a slow answer, and nothing else", ShowTimeouts);

} // namespace
} // namespace tour
