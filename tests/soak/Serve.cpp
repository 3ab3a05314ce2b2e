// SPDX-License-Identifier: Apache-2.0
// What the servers answer.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

#include <sys/prctl.h>
#include <unistd.h>

#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/LoopbackServer.h>

#include "Servers.h"
#include "Setting.h"

using namespace httpclient::testing;

namespace {

/// Every so many requests with a token are refused.
constexpr unsigned int REFUSALS = 10;

/// Says what was asked, so that the other side can compare.
Reply Echo(const RecordedRequest& request) {
    const std::string what = request.method + " " + request.target;
    return request.method == "HEAD" ? RespondHead(200, {{"X-Asked", what}})
                                    : Respond(200, {{"Content-Type", "text/plain"}}, what);
}

Reply WithToken(const RecordedRequest& request) {
    static std::atomic<unsigned int> count{0};
    if (!request.Header("x-access-token")) {
        return Respond(401);
    }
    return ++count % REFUSALS == 0 ? Respond(403) : Echo(request);
}

Reply Answer(const RecordedRequest& request) {
    const auto asks = [&request](const char* path) { return request.target.rfind(path, 0) == 0; };
    if (asks("/sia/")) {
        return WithToken(request);
    }
    if (asks("/big")) {
        return Respond(200, {}, std::string(200000, 'b'));
    }
    if (asks("/slow")) {
        return Delayed(Echo(request), std::chrono::milliseconds(30));
    }
    if (asks("/close")) {
        return Then(Echo(request), After::Close);
    }
    if (asks("/reset")) {
        return Silence(After::Reset);
    }
    if (asks("/short")) {
        return Raw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort", After::Close);
    }
    return Echo(request);
}

} // namespace

int Serve(const std::string& address, const std::string& directory, const Ports& ports, int announce) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        const TlsOptions mutual = ReadTlsOptions(directory);
        TlsOptions open = mutual;
        open.clientCertificate = ClientCertificate::Ignore;
        const auto at = [&](ServerKind kind) {
            ServerOptions options;
            options.address = address;
            options.port = static_cast<std::uint16_t>(ports[kind]);
            return options;
        };
        const LoopbackServer plain(Answer, at(ServerPlain));
        const LoopbackServer head(Answer, at(ServerHead));
        const TlsLoopbackServer tls(Answer, mutual, at(ServerMutualTls));
        const TlsLoopbackServer async(Answer, open, at(ServerAsyncTls));
        FakeTokenService tokens(mutual, address);
        tokens.SetTokens(SERVICE, {"a token"});

        const Ports bound{plain.port(), head.port(), tls.port(), async.port()};
        if (write(announce, bound.data(), sizeof bound) != sizeof bound) {
            return 1;
        }
        for (;;) {
            pause();
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "servers: %s\n", error.what());
        return 1;
    }
}
