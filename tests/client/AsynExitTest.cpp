// SPDX-License-Identifier: Apache-2.0
// A process may end while workers are under way.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "hosts/HostRun.h"

using namespace httpclient::testing;

namespace {

void ExpectHostToEndWell(const LoopbackServer& server, const std::string& way, int milliseconds,
                         const std::vector<std::string>& busy = {}) {
    std::vector<std::string> arguments{std::to_string(server.port()), way, std::to_string(milliseconds)};
    arguments.insert(arguments.end(), busy.begin(), busy.end());
    ExpectToEndWell(ASYN_EXIT_HOST, arguments);
}

TlsOptions AnyClient() {
    const CertificateAuthority authority;
    TlsOptions options;
    options.identity = authority.IssueServer();
    options.clientCertificate = ClientCertificate::Ignore;
    return options;
}

} // namespace

// The workers' first pause ends some 200 ms after they start, and the handshakes begin: that is when the end
// of the process used to meet them.
TEST(AsynExit, CrashesNoWorkerHoweverTheProcessEnds) {
    TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, AnyClient());
    for (const char* way : {"return", "exit"}) {
        for (const int milliseconds : {0, 150, 190, 200, 210, 220, 250}) {
            ExpectHostToEndWell(server, way, milliseconds);
        }
    }
}

TEST(AsynExit, LetsNoCallbackBeginTlsWhenOpenSslIsGone) {
    TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, AnyClient());
    ExpectHostToEndWell(server, "send", 0);
    ExpectHostToEndWell(server, "lend", 0);
}

TEST(AsynExit, CrashesNoCallbackThatUsesTheLibrary) {
    TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, AnyClient());
    for (const char* way : {"return", "exit"}) {
        for (const int milliseconds : {600, 640}) {
            ExpectHostToEndWell(server, way, milliseconds, {"busy"});
        }
    }
}
