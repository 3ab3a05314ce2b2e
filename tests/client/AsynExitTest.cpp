// SPDX-License-Identifier: Apache-2.0
// A process may end while workers are under way.
#include <string>

#include <spawn.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsLoopbackServer.h>

extern char** environ;

using namespace httpclient::testing;

namespace {

/// @return how the host ended, as waitpid() tells it.
int RunHost(const LoopbackServer& server, const char* way, int milliseconds, const char* busy = nullptr) {
    const std::string port = std::to_string(server.port());
    const std::string delay = std::to_string(milliseconds);
    const char* const arguments[] = {ASYN_EXIT_HOST, port.c_str(), way, delay.c_str(), busy, nullptr};
    pid_t host = 0;
    int status = -1;
    if (posix_spawn(&host, ASYN_EXIT_HOST, nullptr, nullptr, const_cast<char**>(arguments), environ) == 0) {
        waitpid(host, &status, 0);
    }
    return status;
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
            EXPECT_EQ(RunHost(server, way, milliseconds), 0) << way << " after " << milliseconds << " ms";
        }
    }
}

TEST(AsynExit, CrashesNoCallbackThatUsesTheLibrary) {
    TlsLoopbackServer server([](const RecordedRequest&) { return Respond(200); }, AnyClient());
    for (const char* way : {"return", "exit"}) {
        for (const int milliseconds : {600, 640}) {
            EXPECT_EQ(RunHost(server, way, milliseconds, "busy"), 0)
                << way << " after " << milliseconds << " ms";
        }
    }
}
