// SPDX-License-Identifier: Apache-2.0
#include "loop/HandServer.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httpclient/testing/Patience.h>

HandServer::~HandServer() {
    for (const auto& entry : m_connections) {
        close(entry.second.fd);
    }
}

void HandServer::Receive(Connection& connection) {
    std::array<char, 4096> piece; // NOLINT: filled by recv()
    const ssize_t count = recv(connection.fd, piece.data(), piece.size(), MSG_DONTWAIT);
    if (count > 0) {
        connection.received.append(piece.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EAGAIN) {
        connection.ended = true;
    }
}

/// Waits a little for news, and takes it.
void HandServer::Pump() {
    std::vector<pollfd> watched{{m_listener.descriptor(), POLLIN, 0}};
    std::vector<Connection*> connections{nullptr};
    for (auto& entry : m_connections) {
        if (!entry.second.ended) {
            watched.push_back({entry.second.fd, POLLIN, 0});
            connections.push_back(&entry.second);
        }
    }
    constexpr int LOOK_AGAIN = 100;
    if (poll(watched.data(), watched.size(), LOOK_AGAIN) <= 0) {
        return;
    }
    for (std::size_t index = 1; index < watched.size(); ++index) {
        if (watched[index].revents != 0) {
            Receive(*connections[index]);
        }
    }
    const int fd =
        watched[0].revents == 0 ? -1 : accept4(m_listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0) {
        m_connections.emplace(++m_accepted, Connection{fd, {}});
    }
}

template <class Done> bool HandServer::PumpUntil(const Done& done) {
    const auto giveUp = std::chrono::steady_clock::now() + httpclient::testing::PATIENCE;
    while (!done()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        Pump();
    }
    return true;
}

int HandServer::WaitForRequest(const std::string& target) {
    const std::string line = " " + target + " HTTP/1.1\r\n";
    int found = 0;
    PumpUntil([&] {
        for (auto& entry : m_connections) {
            std::string& text = entry.second.received;
            if (text.find(line) != std::string::npos && text.find("\r\n\r\n") != std::string::npos) {
                text.clear();
                found = entry.first;
                return true;
            }
        }
        return false;
    });
    return found;
}

bool HandServer::WaitForEnd(int connection) {
    Connection& one = m_connections.at(connection);
    const bool ended = PumpUntil([&] { return one.ended; });
    Close(connection);
    return ended;
}

void HandServer::Send(int connection, std::string_view bytes) {
    static_cast<void>(send(m_connections.at(connection).fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

void HandServer::Close(int connection) {
    close(m_connections.at(connection).fd);
    m_connections.erase(connection);
}

void HandServer::Reset(int connection) {
    const linger atOnce{1, 0};
    setsockopt(m_connections.at(connection).fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Close(connection);
}
