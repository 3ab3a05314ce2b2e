// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <httpclient/Client.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

using httpclient::Method;
using httpclient::Request;

void ShowCall(Tour& tour, const httpclient::Client& client) {
    Request request(Method::Put, "/echo");
    request.parameter("name", "a b/ü")
        .header("X-Trace", "1")
        .body(std::string("a NUL: \0.", 9), "text/plain");
    const Called first =
        tour.Call(client, request, "PUT /echo, a parameter, a header, a body with a NUL byte");
    tour.ExpectText(
        "each byte that went out is the request's",
        "PUT /echo?name=a%20b%2F%C3%BC HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(tour.Port()) +
            "\r\nUser-Agent: libhttpclient\r\nContent-Type: text/plain\r\nX-Trace: 1\r\n"
            "Content-Length: 9\r\n\r\n" +
            std::string("a NUL: \0.", 9),
        first.sent);
    tour.Expect("there is an answer", static_cast<bool>(first.result));
    tour.ExpectNumber("its status", 200, first.result->status());
    tour.ExpectText("a header field is found in any case of its name", "text/plain",
                    std::string(first.result->header("CONTENT-type").value_or("none").substr(0, 10)));
}

void ShowNext(Tour& tour, const httpclient::Client& client) {
    const Called next = tour.Call(client, Request(Method::Get, "/status/404"), "GET /status/404");
    tour.Expect("a 404 is an answer like any other", next.result && next.result->status() == 404);
    tour.Expect("it came over the connection of the call before", next.result->reusedConnection());
    tour.ExpectNumber("which is the only one", 1, tour.Connections());
    const httpclient::Timings& times = next.result->timings();
    tour.Expect("no time went into connecting", times.of(httpclient::Phase::Connect).count() == 0);
    tour.Expect("some went into waiting for the answer", times.of(httpclient::Phase::Head).count() > 0);
}

void ShowClientCall(Tour& tour) {
    const httpclient::Client client{httpclient::ClientOptions(tour.Origin())};
    ShowCall(tour, client);
    ShowNext(tour, client);
}

const Stop CLIENT_CALL(200, "httpclient::Client sends what it is given, and answers with all that came",
                       ShowClientCall);

} // namespace
} // namespace tour
