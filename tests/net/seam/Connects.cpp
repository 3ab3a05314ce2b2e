// SPDX-License-Identifier: Apache-2.0
#include "seam/Connects.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/socket.h>

#include "interpose/Next.h"

namespace {

thread_local Connects* t_connects = nullptr;

} // namespace

Connects::Connects() {
    t_connects = this;
}

Connects::~Connects() {
    t_connects = nullptr;
}

void Connects::Set(const httpclient::net::Endpoint& endpoint, int error) {
    m_errors[BytesOf(endpoint)] = error;
}

int Connects::Begin(int fd, const void* address, std::size_t size) {
    const std::string bytes(static_cast<const char*>(address), size);
    std::string& known = m_sockets[fd];
    if (known != bytes) {
        m_begun.push_back(bytes);
        known = bytes;
    }
    const auto error = m_errors.find(bytes);
    return error == m_errors.end() ? 0 : error->second;
}

std::string BytesOf(const httpclient::net::Endpoint& endpoint) {
    return std::string(reinterpret_cast<const char*>(&endpoint.address), endpoint.size);
}

extern "C" int socket(int family, int type, int protocol) noexcept {
    static auto* const next = httpclient::testing::Next<int(int, int, int)>("socket");
    if (t_connects != nullptr && t_connects->SocketError() != 0) {
        errno = t_connects->SocketError();
        return -1;
    }
    const int lent = t_connects != nullptr ? t_connects->Lent() : -1;
    const int fd = lent >= 0 ? fcntl(lent, F_DUPFD_CLOEXEC, 0) : next(family, type, protocol);
    if (t_connects != nullptr) {
        t_connects->Forget(fd);
    }
    return fd;
}

extern "C" int connect(int fd, const sockaddr* address, socklen_t size) {
    static auto* const next = httpclient::testing::Next<int(int, const sockaddr*, socklen_t)>("connect");
    const int error = t_connects != nullptr ? t_connects->Begin(fd, address, size) : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    return next(fd, address, size);
}
