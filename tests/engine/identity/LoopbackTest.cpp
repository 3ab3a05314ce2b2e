// SPDX-License-Identifier: Apache-2.0
// A token goes over plain HTTP to this host only.
#include "engine/identity/Loopback.h"

#include <string>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "identity/TokenTest.h"
#include "setting/DeafListener.h"

using engine::Nearness;

namespace {

class TokenOverPlainHttp : public TokenTest {
protected:
    std::string SendTo(const std::string& origin, const std::string& place = "") {
        ClientOptions options = AsPlatform(origin).timeout(2s);
        options.connectTo(place);
        return ToldFully(ClientOf(options).Send(Get("/orders")));
    }
};

constexpr const char* KEPT_BACK = "Identity in Token, not sent, retryable, attempts 0";

Nearness Of(const std::string& host) {
    return engine::NearnessOf({host, 80, {}});
}

} // namespace

TEST(LoopbackPlace, IsKnownByItsAddress) {
    for (const char* host :
         {"127.0.0.1", "127.255.255.254", "127.0.1.1", "::1", "::ffff:127.0.0.1", "0:0:0:0:0:0:0:1"}) {
        EXPECT_EQ(Of(host), Nearness::Near) << host;
    }
    for (const char* host : {"126.255.255.255", "128.0.0.1", "10.0.0.1", "0.0.0.0", "::", "::2",
                             "::ffff:10.0.0.1", "fe80::1", "127.1", "2130706433", "0x7f.0.0.1", "127.0.0.1.",
                             "localhost.example", "localhost.", "ip6-localhost", "name", ""}) {
        EXPECT_EQ(Of(host), Nearness::Far) << host;
    }
    EXPECT_EQ(Of("localhost"), Nearness::Connected);
    EXPECT_EQ(engine::NearnessOf({"", 0, "/run/x.sock"}), Nearness::Near);
}

TEST(LoopbackPlace, IsKnownByItsSocket) {
    EXPECT_FALSE(engine::LeadsToLoopback(-1));
    const int unconnected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_FALSE(engine::LeadsToLoopback(unconnected));
    close(unconnected);
    for (const char* address : {"127.0.0.1", "::1"}) {
        kit::ServerOptions options;
        options.address = address;
        kit::LoopbackServer server(Always(), options);
        const bool v6 = options.address == "::1";
        const int fd = socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in6 to6{};
        to6.sin6_family = AF_INET6;
        to6.sin6_addr = in6addr_loopback;
        to6.sin6_port = htons(server.port());
        sockaddr_in to4{};
        to4.sin_family = AF_INET;
        to4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        to4.sin_port = htons(server.port());
        ASSERT_EQ(v6 ? connect(fd, reinterpret_cast<sockaddr*>(&to6), sizeof to6)
                     : connect(fd, reinterpret_cast<sockaddr*>(&to4), sizeof to4),
                  0);
        EXPECT_TRUE(engine::LeadsToLoopback(fd)) << address;
        close(fd);
    }
}

TEST_F(TokenOverPlainHttp, GoesToTheLoopback) {
    const std::string port = std::to_string(m_server.port());
    EXPECT_EQ(SendTo("http://127.0.0.1:" + port), "200 answer, attempts 1");
    EXPECT_EQ(SendTo("http://localhost:" + port), "200 answer, attempts 1");
    EXPECT_EQ(SendTo("http://orders.example", "127.0.0.1:" + port), "200 answer, attempts 1")
        << "a neighbour";
}

TEST_F(TokenOverPlainHttp, GoesNowhereElse) {
    EXPECT_EQ(SendTo("http://192.0.2.1"), KEPT_BACK);
    EXPECT_EQ(SendTo("http://orders.example"), KEPT_BACK);
    EXPECT_EQ(SendTo("http://127.0.0.1", "192.0.2.1:80"), KEPT_BACK) << "where it is connected to counts";
    EXPECT_EQ(SendTo("http://localhost", "192.0.2.1:80"), KEPT_BACK);
    EXPECT_TRUE(m_service.exchanges().empty()) << "not even the token service is asked";
    const Result free = ClientOf(AsPlatform("http://192.0.2.1").timeout(20ms)).Send(Get("/elsewhere"));
    EXPECT_NE(free.failure().kind(), FailureKind::Identity) << "who needs none may go";
}

TEST_F(TokenOverPlainHttp, SaysWhy) {
    const Result result = ClientOf(AsPlatform("http://192.0.2.1")).Send(Get("/orders"));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.failure().message(),
              "Identity in Token: a token goes over plain HTTP to this host only");
}
