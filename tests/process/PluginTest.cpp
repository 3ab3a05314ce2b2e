// SPDX-License-Identifier: Apache-2.0
// Hosts in processes of their own: one that loads and unloads what uses the library, one that runs out of memory then,
// one whose log's disk is full.
#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>

#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

/// Runs the host. @return its exit code; -1 when a signal ended it.
int RunHost(int port, const std::string& times, const std::string& standardError = "/dev/null") {
    Command host;
    host.words = {PLUGIN_HOST, PLUGIN, std::to_string(port), times};
    host.errorFile = standardError;
    return RunCommand(host).exitCode;
}

} // namespace

TEST(Plugin, MayComeAndGoWhileTheLibraryStays) {
    LoopbackServer server([](const RecordedRequest&) { return Respond(200); });
    EXPECT_EQ(RunHost(server.port(), "20"), 0);
    EXPECT_EQ(server.requests().size(), 20U);
    EXPECT_EQ(server.connectionsAccepted(), 1U) << "the pool outlives the module";
}

#ifdef POOR_PLUGIN_HOST // not with the sanitizers, whose allocators cannot be held
TEST(Plugin, OutlivesEachFailingAllocationOfAThreadsFirstSend) {
    LoopbackServer server([](const RecordedRequest&) { return Respond(200); });
    Command host;
    host.words = {POOR_PLUGIN_HOST, PLUGIN, std::to_string(server.port())};
    host.errorFile = "/dev/null";
    EXPECT_EQ(RunCommand(host).exitCode, 0);
}
#endif

TEST(TraceOnAFullDisk, ChangesNoRequest) {
    const ScopedEnvironment level("OVEX_TRACE_LEVEL", "2");
    const ScopedEnvironment file("OVEX_TRACE_FILE", "/dev/full");
    LoopbackServer server([](const RecordedRequest&) { return Respond(200); });
    EXPECT_EQ(RunHost(server.port(), "3"), 0);
    EXPECT_EQ(RunHost(server.port(), "3", "/dev/full"), 0) << "standard error takes nothing either";
    EXPECT_EQ(server.requests().size(), 6U);
}
