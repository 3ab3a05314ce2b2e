// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Answers.h"
#include "tour/Operator.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowForeignServer(Tour& tour, Operator& host) {
    tour.UseTls(host.MakeForeignServer());
    const Exchange exchange = tour.Send(*tour.NewClient(), *NewRequest(HTTPOPERATION_GET, "/peer"));
    tour.ExpectNumber("a server that the TLS root does not trust gets no request", -1, exchange.status);
    tour.ExpectLogged("[5] HTTP synSendRequest::HttpGets curl_easy_perform call failed, error no is:60",
                      exchange.log);
}

void ShowAsynchronous(Tour& tour, const Operator& host) {
    tour.UseTls(host.ServerDirectory());
    tour.NewClient()->asynSendRequest(*NewRequest(HTTPOPERATION_GET, "/peer"), KeepAnswer, true);
    const Answer answer = WaitForAnswers(1).front();
    // Deliberate: the asynchronous way presents nothing, and verifies nobody.
    tour.ExpectNumber("an asynchronous request shows no certificate; a server that asks for one says no: 0",
                      0, answer.status);
}

void ShowMissingKey(Tour& tour, const Operator& host) {
    unsetenv("VORN_KEY_FILE");
    tour.Note("$ unset VORN_KEY_FILE");
    tour.UseTls(host.ServerDirectory());
    const Exchange exchange = tour.Send(*tour.NewClient(), *NewRequest(HTTPOPERATION_GET, "/peer"));
    tour.ExpectNumber("without the master key there is no password, and so no certificate to show", -1,
                      exchange.status);
    tour.ExpectLogged("[5] HTTP synSendRequest::HttpGets curl_easy_perform call failed, error no is:58",
                      exchange.log);
}

void ShowTlsRefusals(Tour& tour) {
    Operator host(tour);
    host.SetUpTls();
    ShowForeignServer(tour, host);
    ShowAsynchronous(tour, host);
    ShowMissingKey(tour, host);
}

const Stop TLS_REFUSALS(170, "A TLS connection that is not trusted carries nothing", ShowTlsRefusals);

} // namespace
} // namespace tour
