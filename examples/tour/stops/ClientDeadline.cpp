// SPDX-License-Identifier: Apache-2.0
#include <chrono>

#include <fmt/format.h>

#include <httpclient/Client.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds TIMEOUT{1000};

void ShowClientDeadline(Tour& tour) {
    const httpclient::Client client{httpclient::ClientOptions(tour.Origin()).timeout(TIMEOUT)};
    tour.Note("The server gives a byte every 50 ms, and would go on for 10 s:");
    const Called dripped = tour.Call(client, httpclient::Request(httpclient::Method::Get, "/drip/50"),
                                     "GET /drip/50 within 1 s");
    tour.ExpectText("each byte comes soon, and the call ends all the same", "Timeout", dripped.FailureKind());
    tour.Expect("some bytes of the answer had come", !dripped.received.empty());
    if (dripped.result) {
        return;
    }
    const auto total = dripped.result.failure().timings().total();
    tour.Result(fmt::format("after {} ms", std::chrono::duration_cast<milliseconds>(total).count()));
    tour.Expect("not before its time", total >= TIMEOUT);
    tour.Expect("and long before the server was through", total < std::chrono::seconds(5));
    tour.Expect("a part of the answer is no answer: there is none", !dripped.result);
}

const Stop CLIENT_DEADLINE(220,
                           "A deadline is for the whole call, and a server that drips does not stretch it",
                           ShowClientDeadline);

} // namespace
} // namespace tour
