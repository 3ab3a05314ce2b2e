// SPDX-License-Identifier: Apache-2.0
#include "engine/Address.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <arpa/inet.h>
#include <sys/un.h>

#include "net/Address.h"

namespace httpclient::engine {

namespace {

constexpr std::uint16_t HTTP_PORT = 80;
constexpr std::uint16_t HTTPS_PORT = 443;
constexpr std::size_t LONGEST_NAME = 253; // RFC 1035, 2.3.4, without the root's dot

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

bool IsAddress6(const std::string& text) {
    in6_addr address{};
    return text.find('\0') == std::string::npos && inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool IsNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_';
}

bool IsName(const std::string& text) {
    return !text.empty() && text.size() <= LONGEST_NAME &&
           std::all_of(text.begin(), text.end(), IsNameCharacter);
}

std::optional<std::uint16_t> ParsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port == 0) {
        return std::nullopt;
    }
    return port;
}

struct HostAndPort {
    std::string host;
    bool address6 = false;
    std::optional<std::uint16_t> port;
};

/// Reads "host", "host:port", "[address]" and "[address]:port". @return nothing when it is none of them.
std::optional<HostAndPort> ParseAuthority(std::string_view text) {
    HostAndPort result;
    std::string_view rest;
    if (!text.empty() && text.front() == '[') {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        result.host = Lower(text.substr(1, end - 1));
        result.address6 = true;
        rest = text.substr(end + 1);
    } else {
        const std::size_t colon = text.find(':');
        result.host = Lower(text.substr(0, colon));
        rest = colon == std::string_view::npos ? std::string_view() : text.substr(colon);
    }
    if (result.address6 ? !IsAddress6(result.host) : !IsName(result.host)) {
        return std::nullopt;
    }
    if (!rest.empty()) {
        result.port = ParsePort(rest.substr(1));
        if (rest.front() != ':' || !result.port) {
            return std::nullopt;
        }
    }
    return result;
}

std::string Joined(const std::string& host, bool address6) {
    return address6 ? "[" + host + "]" : host;
}

} // namespace

bool IsAuthority(const std::string& text) {
    return ParseAuthority(text).has_value();
}

std::string Origin::Authority() const {
    const std::string name = Joined(host, address6);
    return port == (tls ? HTTPS_PORT : HTTP_PORT) ? name : name + ':' + std::to_string(port);
}

std::string Origin::Text() const {
    return (tls ? "https://" : "http://") + Joined(host, address6) + ':' + std::to_string(port);
}

Origin ParseOrigin(const std::string& text) {
    Origin origin;
    std::string_view rest = text;
    const std::size_t colon = rest.find("://");
    const std::string scheme = Lower(rest.substr(0, colon == std::string_view::npos ? 0 : colon));
    if (scheme != "http" && scheme != "https") {
        throw std::invalid_argument(
            "httpclient::ClientOptions: the origin has to begin with http:// or https://");
    }
    origin.tls = scheme == "https";
    rest.remove_prefix(colon + std::strlen("://"));
    if (!rest.empty() && rest.back() == '/') {
        rest.remove_suffix(1);
    }
    std::optional<HostAndPort> parsed = ParseAuthority(rest);
    if (!parsed) {
        throw std::invalid_argument(
            "httpclient::ClientOptions: the origin has to be scheme, host and port alone");
    }
    origin.host = std::move(parsed->host);
    origin.address6 = parsed->address6;
    origin.port = parsed->port.value_or(origin.tls ? HTTPS_PORT : HTTP_PORT);
    return origin;
}

Place ParsePlace(const std::string& text, const Origin& origin) {
    if (text.empty()) {
        return {origin.host, origin.port, {}};
    }
    constexpr std::string_view UNIX = "unix:";
    if (text.compare(0, UNIX.size(), UNIX) == 0) {
        std::string path = text.substr(UNIX.size());
        if (path.empty() || path.front() != '/' || path.size() >= sizeof(sockaddr_un::sun_path) ||
            path.find('\0') != std::string::npos) {
            throw std::invalid_argument(
                "httpclient::ClientOptions: connectTo needs an absolute path that fits");
        }
        return {{}, 0, std::move(path)};
    }
    std::optional<HostAndPort> parsed = ParseAuthority(text);
    if (!parsed || !parsed->port) {
        throw std::invalid_argument(
            "httpclient::ClientOptions: connectTo has to be host and port, or unix:/path");
    }
    return {std::move(parsed->host), *parsed->port, {}};
}

void CheckServerName(const std::string& name) {
    if (!name.empty() && !IsName(Lower(name)) && !net::NumericAddress(name)) {
        throw std::invalid_argument("httpclient::TlsOptions: serverName has to be a host name or an address");
    }
}

} // namespace httpclient::engine
