// SPDX-License-Identifier: Apache-2.0
#include "Listener.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace httpclient::testing {

namespace {

[[noreturn]] void Fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// A socket address of either family.
class SocketAddress {
public:
    SocketAddress(const std::string& text, std::uint16_t port) {
        if (inet_pton(AF_INET6, text.c_str(), &m_v6.sin6_addr) == 1 &&
            IN6_IS_ADDR_LOOPBACK(&m_v6.sin6_addr)) {
            m_v6.sin6_family = AF_INET6;
            m_v6.sin6_port = htons(port);
        } else if (inet_pton(AF_INET, text.c_str(), &m_v4.sin_addr) == 1 &&
                   ntohl(m_v4.sin_addr.s_addr) >> 24U == IN_LOOPBACKNET) {
            m_v4.sin_family = AF_INET;
            m_v4.sin_port = htons(port);
        } else {
            Fail(EADDRNOTAVAIL, text + " is no loopback address");
        }
    }

    bool isV6() const { return m_v6.sin6_family == AF_INET6; }
    int family() const { return isV6() ? AF_INET6 : AF_INET; }
    sockaddr* get() {
        return isV6() ? reinterpret_cast<sockaddr*>(&m_v6) : reinterpret_cast<sockaddr*>(&m_v4);
    }
    socklen_t size() const { return isV6() ? sizeof m_v6 : sizeof m_v4; }
    std::uint16_t port() const { return ntohs(isV6() ? m_v6.sin6_port : m_v4.sin_port); }

private:
    sockaddr_in m_v4{};
    sockaddr_in6 m_v6{};
};

} // namespace

Listener::Listener(const std::string& address, std::uint16_t port) {
    SocketAddress where(address, port);
    m_socket = Descriptor(socket(where.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (!m_socket || setsockopt(m_socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(m_socket.get(), where.get(), where.size()) != 0 || listen(m_socket.get(), SOMAXCONN) != 0) {
        Fail(errno, "listening at " + address + " port " + std::to_string(port));
    }
    socklen_t size = where.size();
    if (getsockname(m_socket.get(), where.get(), &size) != 0) {
        Fail(errno, "getsockname");
    }
    m_port = where.port();
}

Descriptor Listener::Accept(const StopSignal& stop) const {
    while (stop.WaitFor(m_socket.get(), POLLIN)) {
        Descriptor connection(accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (connection) {
            const int on = 1; // each piece of a reply goes out when it is written
            setsockopt(connection.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            return connection;
        }
    }
    return {};
}

} // namespace httpclient::testing
