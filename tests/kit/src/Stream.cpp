// SPDX-License-Identifier: Apache-2.0
#include "Stream.h"

#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

namespace httpclient::testing {

namespace {

bool WouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

} // namespace

Stream::Stream(Descriptor socket, const StopSignal& stop) : m_socket(std::move(socket)), m_stop(stop) {}

void Stream::AwaitHangUp() const {
    WaitFor(POLLRDHUP);
}

void Stream::ResetOnClose() const {
    const linger reset{1, 0};
    setsockopt(fd(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
}

std::size_t PlainStream::Read(char* buffer, std::size_t size) {
    for (;;) {
        const ssize_t count = recv(fd(), buffer, size, 0);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (!WouldBlock() || !WaitFor(POLLIN)) {
            return 0;
        }
    }
}

bool PlainStream::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!WouldBlock() || !WaitFor(POLLOUT)) {
            return false;
        }
    }
    return true;
}

std::unique_ptr<Stream> PlainOpener::Open(Descriptor socket, const StopSignal& stop) {
    return std::make_unique<PlainStream>(std::move(socket), stop);
}

} // namespace httpclient::testing
