// SPDX-License-Identifier: Apache-2.0
/// @file
/// A client that sends and receives bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace httpclient::testing {

/// A client that sends and receives bytes; no wait of it lasts longer than ten seconds.
class RawClient {
public:
    /// How receiving ended.
    enum class End { None, Closed, Reset, TimedOut };

    /// @param address an IPv4 loopback address.
    explicit RawClient(std::uint16_t port, const std::string& address = "127.0.0.1")
        : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        SetPatience(10000);
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(port);
        inet_pton(AF_INET, address.c_str(), &name.sin_addr);
        if (connect(m_socket, reinterpret_cast<sockaddr*>(&name), sizeof name) != 0) {
            close(m_socket);
            throw std::runtime_error("no connection");
        }
    }
    ~RawClient() { close(m_socket); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void SetPatience(long milliseconds) const {
        const timeval patience{milliseconds / 1000, milliseconds % 1000 * 1000L};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    void Send(std::string_view bytes) const { send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    void FinishSending() const { shutdown(m_socket, SHUT_WR); }

    /// Receives until so many bytes are there. @return them; fewer when the connection ended.
    std::string Receive(std::size_t size) {
        std::string bytes;
        while (bytes.size() < size && Once(bytes, size - bytes.size())) {
        }
        return bytes;
    }
    /// Receives until the connection ends. @return what came.
    std::string ReceiveAll() {
        std::string bytes;
        while (Once(bytes, 4096)) {
        }
        return bytes;
    }
    End end() const { return m_end; }
    int descriptor() const { return m_socket; }

private:
    bool Once(std::string& bytes, std::size_t most) {
        std::array<char, 4096> buffer{};
        const ssize_t count = recv(m_socket, buffer.data(), std::min(most, buffer.size()), 0);
        if (count > 0) {
            bytes.append(buffer.data(), static_cast<std::size_t>(count));
            return true;
        }
        m_end = count == 0 ? End::Closed : errno == ECONNRESET ? End::Reset : End::TimedOut;
        return false;
    }

    int m_socket;
    End m_end = End::None;
};

} // namespace httpclient::testing
