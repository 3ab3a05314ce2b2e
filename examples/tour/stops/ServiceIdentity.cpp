// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>

#include <unistd.h>

#include <fmt/format.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "demo/DemoServer.h"
#include "tour/Operator.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

constexpr int TOKEN_SERVICE_PORT = 32018; // fixed by the platform
constexpr const char* CREDENTIAL = "a.credential.that-is-not-to-be-seen";
constexpr const char* SEND_FAILED = "[5] CHttpClientImp::AppendSlist, GetSiaToken failed";

/// An address of this machine that no other process takes, for a port that is the same for all.
std::string AddressOfThisProcess() {
    const auto pid = static_cast<unsigned int>(getpid()); // 22 bits at most
    return fmt::format("127.{}.{}.{}", 1 + (pid >> 15U & 0x7FU), pid >> 7U & 0xFFU, 1 + (pid & 0x7FU));
}

double CountOf(const std::string& text, const std::string& part) {
    double count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

/// Every request of this stop, and the check that the credential stays out of sight.
Exchange Ask(Tour& tour, CHttpClient& client, const char* path) {
    Exchange exchange = tour.Send(client, *NewRequest(HTTPOPERATION_GET, path));
    const bool seen = std::any_of(exchange.log.begin(), exchange.log.end(), [](const std::string& line) {
        return line.find(CREDENTIAL) != std::string::npos || line.find("demo-token") != std::string::npos;
    });
    tour.Expect("neither credential nor token is logged", !seen);
    return exchange;
}

void ShowFirst(Tour& tour, CHttpClient& client) {
    const Exchange exchange = Ask(tour, client, "/guarded");
    const auto issued = tour.Tokens()->AllIssued();
    tour.ExpectNumber("the token service was asked once", 1, static_cast<double>(issued.size()));
    tour.Result(fmt::format("it was asked by {}, for {}, with a credential of {} characters",
                            issued.at(0).client, issued.at(0).service, issued.at(0).credentialLength));
    tour.ExpectText("over mutual TLS", "CN=test process", issued.at(0).client);
    tour.ExpectText("for the service that the configuration names", "tour-service", issued.at(0).service);
    tour.Expect("the request carries the token",
                HasLine(exchange.sent, "x-access-token:" + issued.at(0).token));
    tour.ExpectNumber("which lets it in", 200, exchange.status);
}

void ShowCached(Tour& tour, CHttpClient& client) {
    const Exchange exchange = Ask(tour, client, "/guarded?again");
    tour.ExpectNumber("the next request carries a token, too", 200, exchange.status);
    tour.ExpectNumber("the same: the token service was not asked again", 1,
                      static_cast<double>(tour.Tokens()->AllIssued().size()));
}

void ShowForbidden(Tour& tour, CHttpClient& client) {
    tour.Note("The server stops accepting that token:");
    tour.Tokens()->Withdraw();
    const Exchange exchange = Ask(tour, client, "/guarded");
    tour.ExpectLogged("[3] HTTP synSendRequest, response code is 403, retry to SendRequest", exchange.log);
    tour.ExpectNumber("a new token is fetched", 2, static_cast<double>(tour.Tokens()->AllIssued().size()));
    tour.ExpectNumber("and the request sent once more, which is let in", 200, exchange.status);
    // Deliberate: what has come in is kept.
    tour.ExpectText("the body holds both answers", "Your token is not good.\nCome in, your token is good.\n",
                    exchange.body);
}

void ShowOther(Tour& tour, CHttpClient& client) {
    const Exchange exchange = Ask(tour, client, "/echo");
    tour.Expect("what the configuration does not name carries no token",
                exchange.sent.find("x-access-token") == std::string::npos);
}

void ShowWithoutTokenService(Tour& tour, CHttpClient& client) {
    tour.Note("The server stops accepting the second one, too, and the token service is gone:");
    tour.Tokens()->Withdraw();
    const Exchange exchange = Ask(tour, client, "/guarded");
    tour.ExpectLogged(SEND_FAILED, exchange.log);
    tour.ExpectNumber("the request was sent twice, not more", 2, CountOf(exchange.sent, "GET /guarded"));
    tour.ExpectNumber("the second time without a token", 1, CountOf(exchange.sent, "x-access-token"));
    tour.ExpectNumber("and the refusal is returned", 403, exchange.status);
}

void ShowServiceIdentity(Tour& tour) {
    Operator host(tour);
    host.SetUpTls();
    const std::string address = AddressOfThisProcess();
    host.SetUpIdentity("/guarded", "tour-service", CREDENTIAL, address);

    std::optional<demo::DemoServer> tokenService;
    tokenService.emplace(demo::Place{address, TOKEN_SERVICE_PORT, host.ServerDirectory()}, tour.Tokens());
    const auto client = tour.NewClient();
    ShowFirst(tour, *client);
    ShowCached(tour, *client);
    ShowForbidden(tour, *client);
    ShowOther(tour, *client);
    tokenService.reset();
    ShowWithoutTokenService(tour, *client);
}

const Stop SERVICE_IDENTITY(180, "A request to a service that the configuration names carries a token",
                            ShowServiceIdentity);

} // namespace
} // namespace tour
