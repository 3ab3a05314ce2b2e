// SPDX-License-Identifier: Apache-2.0
#include "net/Address.h"

#include <charconv>
#include <cstddef>
#include <cstring>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/un.h>

namespace httpclient::net {

namespace {

template <class Address> Endpoint ToEndpoint(const Address& address) {
    static_assert(sizeof(Address) <= sizeof(sockaddr_storage));
    Endpoint endpoint;
    std::memcpy(&endpoint.address, &address, sizeof address);
    endpoint.size = sizeof address;
    return endpoint;
}

/// The number of an interface by its number or name; 0: none.
unsigned int ScopeOf(const std::string& text) {
    unsigned int number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && rest == end ? number : if_nametoindex(text.c_str());
}

bool HoldsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

} // namespace

std::optional<Endpoint> NumericAddress(const std::string& text) {
    if (HoldsNul(text)) {
        return std::nullopt;
    }
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    if (inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
        return ToEndpoint(v4);
    }
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    const std::size_t percent = text.find('%');
    if (inet_pton(AF_INET6, text.substr(0, percent).c_str(), &v6.sin6_addr) != 1) {
        return std::nullopt;
    }
    if (percent != std::string::npos) {
        v6.sin6_scope_id = ScopeOf(text.substr(percent + 1));
        if (v6.sin6_scope_id == 0) {
            return std::nullopt;
        }
    }
    return ToEndpoint(v6);
}

bool IsAddress(const std::string& text) {
    return text.find('%') == std::string::npos && NumericAddress(text).has_value();
}

std::optional<Endpoint> UnixAddress(const std::string& path) {
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof address.sun_path || HoldsNul(path)) {
        return std::nullopt;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    Endpoint endpoint = ToEndpoint(address);
    endpoint.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    return endpoint;
}

void SetPort(Endpoint& endpoint, std::uint16_t port) {
    if (endpoint.Family() == AF_INET) {
        reinterpret_cast<sockaddr_in&>(endpoint.address).sin_port = htons(port);
    } else if (endpoint.Family() == AF_INET6) {
        reinterpret_cast<sockaddr_in6&>(endpoint.address).sin6_port = htons(port);
    }
}

} // namespace httpclient::net
