// SPDX-License-Identifier: Apache-2.0
#include "setting/DeafListener.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

DeafListener::DeafListener() {
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (m_listener < 0 || bind(m_listener, any, size) != 0 || listen(m_listener, 0) != 0 ||
        getsockname(m_listener, any, &size) != 0) {
        throw std::system_error(errno, std::generic_category(), "a deaf listener");
    }
    m_port = ntohs(address.sin_port);
    // Connections until one is not taken any more.
    for (int i = 0; i < 10; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        m_filling.push_back(fd);
        connect(fd, any, size);
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
