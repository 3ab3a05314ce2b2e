// SPDX-License-Identifier: Apache-2.0
#include <httpclient/Client.h>

#include "tour/Operator.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

using httpclient::ClientOptions;
using httpclient::Method;
using httpclient::Request;
using httpclient::TlsOptions;

void ShowClientServerName(Tour& tour) {
    Operator host(tour);
    host.SetUpTls();
    tour.UseTls(host.ServerDirectory());
    const Request request(Method::Get, "/peer");

    tour.Note("The server's certificate is of our authority, and for somewhere.invalid:");
    const httpclient::Client client{ClientOptions(tour.Origin())};
    const Called refused = tour.Call(client, request, "GET /peer of 127.0.0.1");
    tour.ExpectText("it is for another name, and refused", "Tls", refused.FailureKind());
    tour.Expect("the server has seen nothing of the request",
                !refused.result && !refused.result.failure().requestSent());

    const httpclient::Client named{
        ClientOptions(tour.Origin()).tls(TlsOptions().serverName("somewhere.invalid"))};
    const Called answered = tour.Call(named, request, "GET /peer, where somewhere.invalid is expected");
    tour.Expect("who says which name is expected is answered", static_cast<bool>(answered.result));
    tour.ExpectText("and both sides have shown a certificate", "CN=test process\n",
                    answered.result ? answered.result->body() : "");
}

const Stop CLIENT_SERVER_NAME(230, "A certificate for another name is refused", ShowClientServerName);

} // namespace
} // namespace tour
