// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <httpclient/Client.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

using httpclient::Method;
using httpclient::Request;

void ExpectRefused(Tour& tour, const httpclient::Client& client, const Request& request,
                   const std::string& what) {
    const Called called = tour.Call(client, request, what);
    tour.ExpectText("it is refused", "InvalidRequest", called.FailureKind());
    tour.ExpectText("and nothing went out", "", called.sent);
}

void ShowClientRefusals(Tour& tour) {
    const httpclient::Client client{httpclient::ClientOptions(tour.Origin())};
    ExpectRefused(tour, client, Request(Method::Get, "/echo").header("X-Name", "1\r\nX-Forged: 2"),
                  "GET /echo with a line break in a header");
    ExpectRefused(tour, client, Request(Method::Get, "/echo HTTP/1.1"), "GET with a blank in its target");
    ExpectRefused(tour, client, Request(Method::Get, "/echo").body("x"), "GET /echo with a body");
    ExpectRefused(tour, client, Request(Method::Post, "/echo").header("Content-Length", "1000"),
                  "POST /echo with a length given by hand");
    tour.ExpectNumber("no connection was made for any of them", 0, tour.Connections());
}

const Stop CLIENT_REFUSALS(210, "What breaks a rule of HTTP is refused before a byte goes out",
                           ShowClientRefusals);

} // namespace
} // namespace tour
