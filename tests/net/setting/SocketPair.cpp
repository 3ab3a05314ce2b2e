// SPDX-License-Identifier: Apache-2.0
#include "setting/SocketPair.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Patience.h>

#include "net/Address.h"

using namespace httpclient::net;

namespace {

constexpr int PATIENCE_MS = static_cast<int>(httpclient::testing::PATIENCE.count());

void MustBe(bool right, const char* what) {
    if (!right) {
        ADD_FAILURE() << what << ": errno " << errno;
        std::abort(); // a test cannot go on without its sockets
    }
}

Endpoint Loopback(int family) {
    return *NumericAddress(family == AF_INET ? "127.0.0.1" : "::1");
}

const sockaddr* At(const Endpoint& endpoint) {
    return reinterpret_cast<const sockaddr*>(&endpoint.address);
}

void SetNonBlocking(int fd) {
    MustBe(fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) == 0, "fcntl");
}

} // namespace

QuietListener::QuietListener(int family, int backlog)
    : m_socket(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)), m_endpoint(Loopback(family)) {
    Listen(backlog);
}

QuietListener::QuietListener(const std::string& path, int backlog)
    : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), m_endpoint(*UnixAddress(path)) {
    Listen(backlog);
}

void QuietListener::Listen(int backlog) {
    MustBe(bind(m_socket.get(), At(m_endpoint), m_endpoint.size) == 0, "bind");
    MustBe(listen(m_socket.get(), backlog) == 0, "listen");
    m_endpoint.size = sizeof m_endpoint.address;
    MustBe(getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&m_endpoint.address), &m_endpoint.size) ==
               0,
           "getsockname");
}

Descriptor QuietListener::Accept() const {
    MustBe(WaitFor(m_socket.get(), POLLIN), "no connection");
    Descriptor accepted(accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    MustBe(static_cast<bool>(accepted), "accept");
    return accepted;
}

SocketPair::SocketPair() {
    const QuietListener listener;
    ours = Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    MustBe(connect(ours.get(), At(listener.endpoint()), listener.endpoint().size) == 0, "connect");
    SetNonBlocking(ours.get());
    theirs = listener.Accept();
    for (const int fd : {ours.get(), theirs.get()}) {
        const int on = 1;
        MustBe(setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0, "TCP_NODELAY");
    }
}

Endpoint RefusingEndpoint(int family) {
    QuietListener listener(family);
    return listener.endpoint(); // the kernel does not give a port again at once
}

bool WaitFor(int fd, short events) {
    pollfd wait{fd, events, 0};
    return poll(&wait, 1, PATIENCE_MS) == 1;
}

void SendAll(int fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        MustBe(count > 0 || errno == EAGAIN, "send");
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else {
            MustBe(WaitFor(fd, POLLOUT), "the peer does not read");
        }
    }
}

std::string ReadToEnd(int fd) {
    std::string all;
    char block[65536];
    while (WaitFor(fd, POLLIN)) {
        const ssize_t count = recv(fd, block, sizeof block, 0);
        if (count <= 0) {
            break;
        }
        all.append(block, static_cast<std::size_t>(count));
    }
    return all;
}

bool AtEnd(int fd) {
    char byte = 0;
    return WaitFor(fd, POLLIN) && recv(fd, &byte, 1, MSG_PEEK) == 0;
}

bool ClosesOnExec(int fd) {
    return (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

void Reset(Descriptor& socket) {
    const linger hard{1, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    socket.Reset();
}
