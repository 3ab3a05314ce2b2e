// SPDX-License-Identifier: Apache-2.0
// Hosts in processes of their own: one that loads and unloads what uses the library, one whose log's
// disk is full.
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>

extern char** environ;

using namespace httpclient::testing;

namespace {

/// Runs the host. @return how it ended, as waitpid() tells it.
int RunHost(int port, const std::string& times, const std::string& standardError = "/dev/null") {
    const std::string portText = std::to_string(port);
    const char* const arguments[] = {PLUGIN_HOST, PLUGIN, portText.c_str(), times.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, standardError.c_str(), O_WRONLY | O_CREAT,
                                     0600);
    pid_t host = 0;
    int status = -1;
    if (posix_spawn(&host, PLUGIN_HOST, &actions, nullptr, const_cast<char**>(arguments), environ) == 0) {
        waitpid(host, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
    return status;
}

} // namespace

TEST(Plugin, MayComeAndGoWhileTheLibraryStays) {
    LoopbackServer server([](const RecordedRequest&) { return Respond(200); });
    EXPECT_EQ(RunHost(server.port(), "20"), 0);
    EXPECT_EQ(server.requests().size(), 20U);
    EXPECT_EQ(server.connectionsAccepted(), 1U) << "the pool outlives the module";
}

TEST(TraceOnAFullDisk, ChangesNoRequest) {
    const ScopedEnvironment level("OVEX_TRACE_LEVEL", "2");
    const ScopedEnvironment file("OVEX_TRACE_FILE", "/dev/full");
    LoopbackServer server([](const RecordedRequest&) { return Respond(200); });
    EXPECT_EQ(RunHost(server.port(), "3"), 0);
    EXPECT_EQ(RunHost(server.port(), "3", "/dev/full"), 0) << "standard error takes nothing either";
    EXPECT_EQ(server.requests().size(), 6U);
}
