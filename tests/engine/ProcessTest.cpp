// SPDX-License-Identifier: Apache-2.0
// The shared engine, and the end of a process: each in a process of its own.
#include <array>
#include <cstdio>
#include <string>

#include <sys/wait.h>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"

namespace {

class Process : public ::testing::Test {
protected:
    /// @return what the host printed, and its status unless that is 0.
    std::string Run(const std::string& what) {
        const std::string command =
            std::string("timeout 60 " PROCESS_HOST " ") + what + " " + m_server.url("");
        FILE* const pipe = popen(command.c_str(), "re");
        std::string text;
        std::array<char, 256> piece{};
        while (std::fgets(piece.data(), piece.size(), pipe) != nullptr) {
            text += piece.data();
        }
        const int status = pclose(pipe);
        return status == 0 ? text : text + "status " + std::to_string(status);
    }

    kit::LoopbackServer m_server{[](const kit::RecordedRequest& request) {
        return request.target == "/endless"
                   ? kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n", kit::After::Stall)
                   : kit::Respond(200, {}, "answer");
    }};
};

const std::string LATE = "httpclient::Engine::Configure: the shared engine was used before\n";

} // namespace

TEST_F(Process, ConfiguresItsSharedEngineBeforeTheFirstUse) {
    EXPECT_EQ(Run("configure-first"), "200 answer; Overloaded in Lease\n");
}

TEST_F(Process, ConfiguresItsSharedEngineNoMoreAfterTheFirstUse) {
    EXPECT_EQ(Run("configure-after-a-call"), LATE);
    EXPECT_EQ(Run("configure-after-shared"), LATE);
}

TEST_F(Process, ConfiguresNothingByBadOptions) {
    EXPECT_EQ(Run("configure-badly"), "refused\n");
}

TEST_F(Process, HasOneSharedEngine) {
    EXPECT_EQ(Run("shared"), "200 answer; 200 answer, reused; 1\n");
}

TEST_F(Process, EndsWithoutShutdown) {
    EXPECT_EQ(Run("end-of-main"), "200 answer\n");
}

TEST_F(Process, EndsAmidACall) {
    for (const char* what : {"return-amid-a-call", "exit-amid-a-call", "quick-exit-amid-a-call"}) {
        EXPECT_EQ(Run(what), "") << what;
    }
    EXPECT_TRUE(m_server.WaitForRequests(3));
}

TEST_F(Process, CallsEvenWhileItEnds) {
    EXPECT_EQ(Run("call-at-exit"), "200 answer\n");
}
