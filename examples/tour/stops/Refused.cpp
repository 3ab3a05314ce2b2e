// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include <ace/INET_Addr.h>
#include <ace/SOCK_Acceptor.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

/// @return a port of this machine that was free a moment ago.
int PortWhereNobodyListens() {
    ACE_INET_Addr address;
    ACE_SOCK_Acceptor acceptor;
    if (acceptor.open(ACE_INET_Addr(static_cast<u_short>(0), "127.0.0.1")) != 0 ||
        acceptor.get_local_addr(address) != 0) {
        throw std::runtime_error("no port to be had");
    }
    acceptor.close();
    return address.get_port_number();
}

void ShowRefused(Tour& tour) {
    const auto client = HttpClientWrap::MakeClientPtr("127.0.0.1", 5, 5, PortWhereNobodyListens(), false);
    const auto request = NewRequest(HTTPOPERATION_GET, "/echo");
    CHttpResponse response;
    response.setResponseBody("as it was");
    const Exchange refused = tour.Send(*client, *request, response);
    tour.ExpectNumber("the send returns -1", -1, refused.status);
    tour.ExpectLogged("[5] HTTP synSendRequest::HttpGet curl_easy_perform call failed, error no is:7",
                      refused.log);
    tour.ExpectText("the response stays as it was", "as it was", refused.body);

    client->setPort(tour.Port());
    tour.Note("The same client, sent to where somebody listens:");
    tour.ExpectNumber("it can be used on", 200, tour.Send(*client, *request).status);
}

const Stop REFUSED(100, "A refused connection is -1, and harms nothing", ShowRefused);

} // namespace
} // namespace tour
