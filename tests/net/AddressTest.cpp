// SPDX-License-Identifier: Apache-2.0
#include "net/Address.h"

#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/un.h>

#include <gtest/gtest.h>

using namespace httpclient::net;

namespace {

const sockaddr_in& V4(const Endpoint& endpoint) {
    return reinterpret_cast<const sockaddr_in&>(endpoint.address);
}

const sockaddr_in6& V6(const Endpoint& endpoint) {
    return reinterpret_cast<const sockaddr_in6&>(endpoint.address);
}

} // namespace

TEST(Address, OfFourNumbersIsIPv4) {
    const auto endpoint = NumericAddress("10.1.2.3");
    ASSERT_TRUE(endpoint);
    EXPECT_EQ(endpoint->Family(), AF_INET);
    EXPECT_EQ(endpoint->size, sizeof(sockaddr_in));
    EXPECT_EQ(V4(*endpoint).sin_addr.s_addr, htonl(0x0A010203));
}

TEST(Address, WithColonsIsIPv6) {
    const auto endpoint = NumericAddress("2001:db8::7");
    ASSERT_TRUE(endpoint);
    EXPECT_EQ(endpoint->Family(), AF_INET6);
    EXPECT_EQ(endpoint->size, sizeof(sockaddr_in6));
    EXPECT_EQ(V6(*endpoint).sin6_addr.s6_addr[15], 7);
}

TEST(Address, WithAScopeKnowsItsInterfaceByNumberAndName) {
    ASSERT_TRUE(NumericAddress("fe80::1%3"));
    EXPECT_EQ(V6(*NumericAddress("fe80::1%3")).sin6_scope_id, 3U);
    ASSERT_TRUE(NumericAddress("fe80::1%lo"));
    EXPECT_EQ(V6(*NumericAddress("fe80::1%lo")).sin6_scope_id, 1U);
    EXPECT_FALSE(NumericAddress("fe80::1%"));
    EXPECT_FALSE(NumericAddress("fe80::1%no-such-interface"));
    EXPECT_FALSE(NumericAddress("fe80::1%0"));
}

TEST(Address, IsNoName) {
    for (const char* text :
         {"", "localhost", "10.1.2", "10.1.2.256", "1.2.3.4.5", "[::1]", "::g", "10.1.2.3%lo", " ::1"}) {
        EXPECT_FALSE(NumericAddress(text)) << text;
        EXPECT_FALSE(IsAddress(text)) << text;
    }
    EXPECT_FALSE(NumericAddress(std::string("10.1.2.3\0x", 10)));
    EXPECT_TRUE(IsAddress("10.1.2.3"));
    EXPECT_TRUE(IsAddress("::1"));
    EXPECT_FALSE(IsAddress("fe80::1%lo")) << "no certificate names a scope";
}

TEST(Address, TakesAPortInBothFamilies) {
    Endpoint v4 = *NumericAddress("10.1.2.3");
    Endpoint v6 = *NumericAddress("::1");
    SetPort(v4, 8443);
    SetPort(v6, 65535);
    EXPECT_EQ(V4(v4).sin_port, htons(8443));
    EXPECT_EQ(V6(v6).sin6_port, htons(65535));
    Endpoint path = *UnixAddress("/run/x.sock");
    const Endpoint before = path;
    SetPort(path, 80);
    EXPECT_EQ(std::memcmp(&path.address, &before.address, sizeof path.address), 0);
}

TEST(Address, OfAUnixSocketHoldsAPathAsLongAsTheSystemTakes) {
    const std::string longest(sizeof(sockaddr_un::sun_path) - 1, 'p');
    const auto endpoint = UnixAddress(longest);
    ASSERT_TRUE(endpoint);
    EXPECT_EQ(endpoint->Family(), AF_UNIX);
    EXPECT_STREQ(reinterpret_cast<const sockaddr_un&>(endpoint->address).sun_path, longest.c_str());
    EXPECT_TRUE(UnixAddress("p"));
    EXPECT_FALSE(UnixAddress(longest + "p"));
    EXPECT_FALSE(UnixAddress(""));
    EXPECT_FALSE(UnixAddress(std::string("/a\0b", 4)));
}
