// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Ports.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <sys/socket.h>

#include "tests/kit/src/Descriptor.h"

namespace httpclient::testing {

namespace {

Descriptor NewSocket() {
    return Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

sockaddr_in NameOf(const Endpoint& endpoint) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    inet_pton(AF_INET, endpoint.address.c_str(), &name.sin_addr);
    name.sin_port = htons(endpoint.port);
    return name;
}

std::uint16_t BindToAny(const Descriptor& probe, const std::string& address) {
    sockaddr_in name = NameOf({address, 0});
    socklen_t length = sizeof name;
    auto* const generic = reinterpret_cast<sockaddr*>(&name);
    if (bind(probe.get(), generic, length) != 0 || getsockname(probe.get(), generic, &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "a free port at " + address);
    }
    return ntohs(name.sin_port);
}

} // namespace

int ListenOnLoopback(std::uint16_t& port, int backlog, int flags) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    sockaddr_in name = NameOf({"127.0.0.1", 0});
    socklen_t size = sizeof name;
    auto* const generic = reinterpret_cast<sockaddr*>(&name);
    if (fd < 0 || bind(fd, generic, size) != 0 || listen(fd, backlog) != 0 ||
        getsockname(fd, generic, &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "a listener on loopback");
    }
    port = ntohs(name.sin_port);
    return fd;
}

std::vector<std::uint16_t> FreePorts(const std::string& address, std::size_t count) {
    std::vector<Descriptor> probes; // each is held until all have been found
    std::vector<std::uint16_t> ports;
    for (std::size_t i = 0; i < count; ++i) {
        probes.push_back(NewSocket());
        ports.push_back(BindToAny(probes.back(), address));
    }
    return ports;
}

bool Answers(const Endpoint& endpoint) {
    const Descriptor probe = NewSocket();
    const sockaddr_in name = NameOf(endpoint);
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
}

} // namespace httpclient::testing
