// SPDX-License-Identifier: Apache-2.0
#include "Works.h"

#include "../Nginx.h"
#include "../cost/CachedToken.h"

namespace {

constexpr size_t POST_BYTES = 16 * 1024;
constexpr int IN_FLIGHT = 100;

Target At(std::uint16_t port, const char* path) {
    Target target;
    target.port = port;
    target.path = path;
    return target;
}

Target Posting(Target target) {
    target.body.assign(POST_BYTES, 'b');
    return target;
}

Target WithToken(Target target) {
    target.token = MeasuredToken();
    return target;
}

Target OverTls(std::uint16_t port, const char* path, const Target& client) {
    Target target = client;
    target.tls = true;
    target.port = port;
    target.path = path;
    return target;
}

} // namespace

std::vector<Work> AllWorks(const Nginx& server, std::uint16_t slowPort, const Target& client) {
    return {
        {"get", "GET 128 B", At(server.Port(), "/128")},
        {"get-8", "GET 128 B, 8 threads", At(server.Port(), "/128"), 8},
        {"get-1m", "GET 1 MiB", At(server.Port(), "/1m")},
        {"post", "POST 16 KiB", Posting(At(server.Port(), "/sink"))},
        {"token", "GET 128 B with a cached token", WithToken(At(server.Port(), "/128"))},
        {"tls", "GET 128 B over mutual TLS", OverTls(server.TlsPort(), "/128", client)},
        {"connect", "GET 128 B, a connection each", At(server.ClosingPort(), "/128")},
        {"connect-tls", "GET 128 B, a TLS connection each", OverTls(server.ClosingTlsPort(), "/128", client)},
        {"burst", "100 GETs at once, answered after 50 ms", At(slowPort, "/"), IN_FLIGHT, true},
    };
}
