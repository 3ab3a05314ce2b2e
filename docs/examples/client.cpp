// SPDX-License-Identifier: Apache-2.0
// What docs/host-guide.md shows of httpclient::Client, at work: client ORIGIN [PLACE AUTHORITIES CERTIFICATE KEY]
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

namespace {

using namespace httpclient;
using namespace std::chrono_literals;

std::string origin = "http://127.0.0.1:8080"; // NOLINT(cert-err58-cpp): the example's own setting

// [engine]
void startCalls() { // in main(), before the first call; only where the defaults do not fit
    Engine::Configure(EngineOptions()
                          .maxConnections(200, 1000) // per origin, in all
                          .idleTimeout(60s));
}
// [end]

// [client]
const Client& orders() { // one for each origin, for all threads
    static const Client client(ClientOptions(origin)
                                   .timeout(5s)        // the whole call: waiting, connecting, every attempt
                                   .attemptTimeout(2s) // so that a server that hangs leaves time for another
                                   .connectTimeout(1s) // name, connection and handshake of one attempt
                                   .maxBody(1024 * 1024) // of an answer; a longer one is a failure
                                   .retry(RetryPolicy().attempts(3)));
    return client;
}
// [end]

// [call]
std::optional<std::string> order(const std::string& number) {
    const Result result = orders().Send(Request(Method::Get, "/orders").parameter("number", number));
    if (!result) { // no answer: the failure says why
        const Failure& failure = result.failure();
        std::cerr << failure.message() << (failure.requestSent() ? "" : ", nothing was sent") << '\n';
        return std::nullopt;
    }
    if (result->status() != 200) { // an answer like any other
        return std::nullopt;
    }
    return result->body();
}
// [end]

// [async]
void refresh(const std::string& number, std::function<void(std::string)> then) {
    orders().Start(Request(Method::Get, "/orders").parameter("number", number),
                   [then = std::move(then)](const Result& result) { // on a callback thread
                       then(result ? result->body() : result.failure().message());
                   }); // returns at once
}
// [end]

// [loops]
EngineOptions manyCalls() {
    return EngineOptions()
        .loops(2)                     // threads that move bytes
        .callbackThreads(8)           // threads that run callbacks, sources and sinks
        .maxConnections(2000, 10'000) // per origin, in all: so many calls are really under way
        .maxWaiting(20'000);          // per origin: so many more wait for a connection, then Overloaded
}
// [end]

// [download]
bool download(const std::string& target,
              std::ostream& to) { // of any length: the body is never in memory as a whole
    const Result result = orders().Send(Request(Method::Get, target).bodySink([&to](std::string_view piece) {
        to.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        return to.good(); // false: enough, and the call ends as Cancelled
    }));
    return result && result->status() == 200; // only now is it whole
}
// [end]

// [tls]
Client partner(const std::string& place, const std::string& authorities, const std::string& certificate,
               const std::string& key) {
    TlsOptions tls;
    tls.files(authorities, certificate, key); // PEM; read again when they change
    tls.serverName("localhost");              // if the certificate has another name than the origin
    return Client(ClientOptions("https://partner.example").connectTo(place).tls(tls));
}
// [end]

int callPartner(char** argv) {
    const Client client = partner(argv[2], argv[3], argv[4], argv[5]);
    const Result result = client.Send(Request(Method::Get, "/"));
    std::cout << (result ? result->body() : result.failure().message()) << '\n';
    return result ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        origin = argv[1];
    }
    startCalls();
    if (argc > 5) {
        return callPartner(argv);
    }
    std::promise<std::string> refreshed;
    refresh("47/11", [&](std::string text) { refreshed.set_value(std::move(text)); });
    std::cout << refreshed.get_future().get() << '\n';
    const Engine another(manyCalls());
    std::ostringstream file;
    std::cout << order("47/11").value_or("none") << '\n';
    std::cout << (download("/long", file) ? file.str() : "no file") << '\n';
    return 0;
}
