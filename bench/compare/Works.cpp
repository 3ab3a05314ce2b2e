// SPDX-License-Identifier: Apache-2.0
#include "Works.h"

#include "../cost/CachedToken.h"

namespace {

constexpr size_t POST_BYTES = 16UL * 1024;
constexpr size_t LONG_BYTES = 1024UL * 1024;
constexpr int IN_FLIGHT = 100;

Target At(std::uint16_t port, const char* path) {
    Target target;
    target.port = port;
    target.path = path;
    return target;
}

Target Long(Target target) {
    target.answerBytes = LONG_BYTES;
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

std::vector<Work> AllWorks(const Ports& ports, const Target& client) {
    return {
        {"get", "GET 128 B", At(ports.plain, "/128")},
        {"get-8", "GET 128 B, 8 threads", At(ports.plain, "/128"), 8},
        {"get-1m", "GET 1 MiB", Long(At(ports.plain, "/1m"))},
        {"post", "POST 16 KiB", Posting(At(ports.plain, "/sink"))},
        {"token", "GET 128 B with a cached token", WithToken(At(ports.plain, "/128"))},
        {"tls", "GET 128 B over mutual TLS", OverTls(ports.tls, "/128", client)},
        {"connect", "GET 128 B, a connection each", At(ports.closing, "/128")},
        {"connect-tls", "GET 128 B, a TLS connection each", OverTls(ports.closingTls, "/128", client)},
        {"connect-tls-resumed", "GET 128 B, a TLS connection each, resumed",
         OverTls(ports.resumingTls, "/128", client)},
        {"burst", "100 GETs at once, answered after 50 ms", At(ports.slow, "/"), IN_FLIGHT, true},
    };
}

std::vector<std::string> WorkNames() {
    std::vector<std::string> names;
    for (const Work& work : AllWorks({}, {})) {
        names.push_back(work.name);
    }
    return names;
}
