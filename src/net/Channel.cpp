// SPDX-License-Identifier: Apache-2.0
#include "net/Channel.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include "net/Socket.h"
#include "net/TlsLayer.h"

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

Channel& Channel::operator=(Channel&& other) noexcept {
    m_tls = std::move(other.m_tls); // what was there says goodbye before its socket is closed
    m_socket = std::move(other.m_socket);
    m_wakeAt = other.m_wakeAt;
    return *this;
}

Channel::~Channel() = default;

void Channel::StartTls(std::shared_ptr<const TlsContext> context, std::shared_ptr<SessionCache> sessions) {
    m_tls = std::make_unique<TlsLayer>(fd(), std::move(context), std::move(sessions));
}

IoResult Channel::Handshake() {
    return m_tls != nullptr ? m_tls->Handshake() : IoResult{};
}

bool Channel::resumed() const noexcept {
    return m_tls != nullptr && m_tls->resumed();
}

IoResult Channel::Write(const iovec* pieces, int count) {
    if (m_tls != nullptr) {
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
    return m_tls != nullptr ? m_tls->Quiet() : NothingArrived(fd());
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
