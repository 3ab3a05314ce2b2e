// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Ports.h"

#include <cstdint>
#include <set>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <httpclient/testing/LoopbackServer.h>

namespace httpclient::testing {

TEST(ListenOnLoopback, TakesConnectionsUntilItIsClosed) {
    std::uint16_t port = 0;
    const int listener = ListenOnLoopback(port);
    EXPECT_TRUE(Answers({"127.0.0.1", port}));
    close(listener);
    EXPECT_FALSE(Answers({"127.0.0.1", port}));
}

TEST(ListenOnLoopback, IsNotInheritedByOtherPrograms) {
    std::uint16_t port = 0;
    const int listener = ListenOnLoopback(port);
    EXPECT_EQ(fcntl(listener, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(listener, F_GETFL) & O_NONBLOCK, 0);
    close(listener);
}

TEST(ListenOnLoopback, HasTheFlagsThatAreAskedFor) {
    std::uint16_t port = 0;
    const int listener = ListenOnLoopback(port, 1, SOCK_NONBLOCK);
    EXPECT_EQ(fcntl(listener, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    close(listener);
}

TEST(FreePorts, AreAllDifferent) {
    const std::vector<std::uint16_t> ports = FreePorts("127.0.0.1", 20);
    EXPECT_EQ(ports.size(), 20U);
    EXPECT_EQ(std::set<std::uint16_t>(ports.begin(), ports.end()).size(), 20U);
    EXPECT_EQ(std::set<std::uint16_t>(ports.begin(), ports.end()).count(0), 0U);
}

TEST(FreePorts, CanBeListenedAt) {
    const std::string address = ProcessLoopbackAddress();
    ServerOptions options;
    options.address = address;
    options.port = FreePorts(address, 1).front();
    const LoopbackServer server([](const RecordedRequest&) { return Respond(200); }, options);
    EXPECT_EQ(server.port(), options.port);
}

TEST(FreePorts, AreNotFoundAtAnAddressOfAnotherMachine) {
    EXPECT_THROW(FreePorts("192.0.2.1", 1), std::system_error);
}

TEST(Answers, WhileSomebodyListens) {
    LoopbackServer server([](const RecordedRequest&) { return Respond(200); });
    const Endpoint endpoint{server.address(), server.port()};
    EXPECT_TRUE(Answers(endpoint));
    server.Stop();
    EXPECT_FALSE(Answers(endpoint));
}

} // namespace httpclient::testing
