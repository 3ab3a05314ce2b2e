// SPDX-License-Identifier: Apache-2.0
#include "engine/identity/Loopback.h"

#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "net/Address.h"

namespace httpclient::engine {

namespace {

constexpr unsigned char LOOPBACK_NET = 127;

bool IsLoopback(const sockaddr_storage& address) noexcept {
    if (address.ss_family == AF_INET) {
        sockaddr_in v4{};
        std::memcpy(&v4, &address, sizeof v4);
        return ntohl(v4.sin_addr.s_addr) >> IN_CLASSA_NSHIFT == LOOPBACK_NET;
    }
    if (address.ss_family == AF_INET6) {
        sockaddr_in6 v6{};
        std::memcpy(&v6, &address, sizeof v6);
        constexpr std::size_t V4_WITHIN = 12; // of an IPv4 address within an IPv6 one
        return IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr) ||
               (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr) && v6.sin6_addr.s6_addr[V4_WITHIN] == LOOPBACK_NET);
    }
    return false;
}

} // namespace

Nearness NearnessOf(const Place& place) {
    if (!place.path.empty()) {
        return Nearness::Near;
    }
    if (place.host == "localhost") {
        return Nearness::Connected;
    }
    const std::optional<net::Endpoint> endpoint = net::NumericAddress(place.host);
    return endpoint && IsLoopback(endpoint->address) ? Nearness::Near : Nearness::Far;
}

bool LeadsToLoopback(int fd) noexcept {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    return getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 && IsLoopback(address);
}

} // namespace httpclient::engine
