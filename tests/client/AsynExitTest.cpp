// SPDX-License-Identifier: Apache-2.0
// A process may end while workers are under way.
#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

Ended RunHost(const LoopbackServer& server, const std::string& way, int milliseconds) {
    Command host;
    host.words = {ASYN_EXIT_HOST, std::to_string(server.port()), way, std::to_string(milliseconds)};
    return RunCommand(host);
}

Ended RunBusyHost(const LoopbackServer& server, const std::string& way, int milliseconds) {
    Command host;
    host.words = {ASYN_EXIT_HOST, std::to_string(server.port()), way, std::to_string(milliseconds), "busy"};
    return RunCommand(host);
}

void ExpectSound(const Ended& ended) {
    EXPECT_EQ(ended.signal, 0) << ended.err;
    EXPECT_EQ(ended.exitCode, 0) << ended.err;
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
            SCOPED_TRACE(std::string(way) + " after " + std::to_string(milliseconds) + " ms");
            ExpectSound(RunHost(server, way, milliseconds));
        }
    }
}

TEST(AsynExit, CrashesNoCallbackThatUsesTheLibrary) {
    TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, AnyClient());
    for (const char* way : {"return", "exit"}) {
        for (const int milliseconds : {600, 640}) {
            SCOPED_TRACE(std::string(way) + " after " + std::to_string(milliseconds) + " ms");
            ExpectSound(RunBusyHost(server, way, milliseconds));
        }
    }
}
