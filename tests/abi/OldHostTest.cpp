// SPDX-License-Identifier: Apache-2.0
// A program of the first release with the library of today.
#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>

#include "tests/support/Process.h"

using namespace httpclient::testing;

TEST(OldHost, RunsWithTheLibraryOfToday) {
    ClearProxyEnvironment();
    const LoopbackServer server([](const RecordedRequest& request) {
        return Respond(200, {{"Content-Type", "text/plain"}}, request.method + " answer");
    });
    const Ended ended = RunCommand({{OLD_HOST, std::to_string(server.port())}, {}, {}, {}, -1, {}});
    EXPECT_EQ(ended.exitCode, 0) << ended.err;
    EXPECT_EQ(ended.out, "1: 200 [GET answer] text/plain 10\n   whole\n"
                         "2: 200 [PUT answer] text/plain 10\n   whole\n"
                         "3: 200 [POST answer] text/plain 11\n   whole\n"
                         "4: 200 [DELETE answer] text/plain 13\n   whole\n"
                         "5: 200 [HEAD] text/plain 13\n   whole\n"
                         "asynchronous: 200 GET answer\n"
                         "pool: 200 of 50\n"
                         "lent: yes\n");
    EXPECT_EQ(server.requests().size(), 6U);
}
