// SPDX-License-Identifier: Apache-2.0
#include "setting/DeafListener.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/Ports.h"

DeafListener::DeafListener() {
    m_listener = httpclient::testing::ListenOnLoopback(m_port, 0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    getsockname(m_listener, any, &size);
    // Connections until one is not taken any more.
    for (int i = 0; i < 10; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        m_filling.push_back(fd);
        static_cast<void>(connect(fd, any, size)); // under way, and polled for
        pollfd ready{fd, POLLOUT, 0};
        if (poll(&ready, 1, 100) == 0) {
            break;
        }
    }
}

DeafListener::~DeafListener() {
    for (const int fd : m_filling) {
        close(fd);
    }
    close(m_listener);
}
