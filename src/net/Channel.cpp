// SPDX-License-Identifier: Apache-2.0
#include "net/Channel.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include "net/Socket.h"
#include "net/TlsLayer.h"
#include "support/ExitGate.h"

namespace httpclient::net {

namespace {

IoResult Failed(Wants wish) {
    IoResult result;
    if (WouldBlock(errno)) {
        result.wants = wish;
    } else {
        result.error = SystemError(errno);
    }
    return result;
}

} // namespace

Channel::Channel(Descriptor socket) : m_socket(std::move(socket)) {}

Channel::Channel(Channel&&) noexcept = default;

// Whatever calls OpenSSL passes the exit gate, so that it is not amid it when the process cleans OpenSSL up.

Channel& Channel::operator=(Channel&& other) noexcept {
    EndTls(); // says goodbye before its socket is closed
    m_tls = std::move(other.m_tls);
    m_socket = std::move(other.m_socket);
    m_wakeAt = other.m_wakeAt;
    return *this;
}

Channel::~Channel() {
    EndTls();
}

void Channel::EndTls() noexcept {
    if (m_tls != nullptr) {
        const ExitGate::Pass pass;
        m_tls.reset();
    }
}

void Channel::StartTls(std::shared_ptr<const TlsContext> context, std::shared_ptr<SessionCache> sessions) {
    const ExitGate::Pass pass;
    m_tls = std::make_unique<TlsLayer>(fd(), std::move(context), std::move(sessions));
}

IoResult Channel::Handshake() {
    if (m_tls == nullptr) {
        return {};
    }
    const ExitGate::Pass pass;
    return m_tls->Handshake();
}

bool Channel::resumed() const noexcept {
    return m_tls != nullptr && m_tls->resumed();
}

IoResult Channel::Write(const iovec* pieces, int count) {
    if (m_tls != nullptr) {
        const ExitGate::Pass pass;
        return m_tls->Write(pieces, count);
    }
    const ssize_t sent = Send(fd(), pieces, count);
    if (sent < 0) {
        return Failed(Wants::Write);
    }
    IoResult result;
    result.bytes = static_cast<std::size_t>(sent);
    return result;
}

IoResult Channel::Read(char* to, std::size_t room) {
    if (m_tls != nullptr) {
        const ExitGate::Pass pass;
        return m_tls->Read(to, room);
    }
    const ssize_t received = Receive(fd(), to, room);
    if (received < 0) {
        return Failed(Wants::Read);
    }
    IoResult result;
    result.bytes = static_cast<std::size_t>(received);
    result.ended = received == 0 && room > 0;
    return result;
}

bool Channel::Quiet() {
    if (m_tls == nullptr) {
        return NothingArrived(fd());
    }
    const ExitGate::Pass pass;
    return m_tls->Quiet();
}

bool Channel::Buffered() const noexcept {
    return m_tls != nullptr && m_tls->Buffered();
}

void Channel::WakeAt(std::size_t bytes) {
    const int wakeAt = static_cast<int>(std::min<std::size_t>(std::max<std::size_t>(bytes, 1), MAX_WAKE_AT));
    if (wakeAt != m_wakeAt && setsockopt(fd(), SOL_SOCKET, SO_RCVLOWAT, &wakeAt, sizeof wakeAt) == 0) {
        m_wakeAt = wakeAt;
    }
}

void Channel::Abandon() noexcept {
    static_cast<void>(m_tls.release());
    static_cast<void>(m_socket.Release());
}

} // namespace httpclient::net
