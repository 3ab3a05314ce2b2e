// SPDX-License-Identifier: Apache-2.0
#include "AnswerServer.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Longer than the client needs to reach its wait, callgrind's slowness included.
constexpr std::chrono::milliseconds ANSWER_TIME{2};

std::string Answer() {
    return "HTTP/1.1 200 OK\r\nServer: nginx/1.22.1\r\nDate: Sat, 21 Nov 2026 08:52:00 GMT\r\n"
           "Content-Type: text/plain\r\nContent-Length: 128\r\n"
           "Last-Modified: Sat, 21 Nov 2026 08:00:00 GMT\r\nConnection: keep-alive\r\n"
           "ETag: \"673eee00-80\"\r\nAccept-Ranges: bytes\r\n\r\n" +
           std::string(128, 'x');
}

/// @return the bytes of the body that a request announces; 0 for none.
size_t BodyBytes(const std::string& head) {
    const std::string name = "\r\nContent-Length: ";
    const size_t at = head.find(name);
    return at == std::string::npos ? 0 : std::strtoul(head.c_str() + at + name.size(), nullptr, 10);
}

/// Takes one request off a connection. @return false at its end.
bool ReadRequest(int connection, std::string& unread) {
    char piece[16384];
    for (;;) {
        const size_t end = unread.find("\r\n\r\n");
        if (end != std::string::npos) {
            const size_t whole = end + 4 + BodyBytes(unread.substr(0, end + 2));
            if (unread.size() >= whole) {
                unread.erase(0, whole);
                return true;
            }
        }
        const ssize_t got = read(connection, piece, sizeof piece);
        if (got <= 0) {
            return false;
        }
        unread.append(piece, static_cast<size_t>(got));
    }
}

void Serve(int connection) {
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const std::string answer = Answer();
    std::string unread;
    while (ReadRequest(connection, unread)) {
        std::this_thread::sleep_for(ANSWER_TIME);
        if (send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) {
            return;
        }
    }
}

} // namespace

AnswerServer::AnswerServer() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(m_listener, generic, length) != 0 || listen(m_listener, SOMAXCONN) != 0 ||
        getsockname(m_listener, generic, &length) != 0) {
        close(m_listener);
        throw std::runtime_error("cannot listen on loopback");
    }
    m_port = ntohs(address.sin_port);
    m_thread = std::thread(&AnswerServer::AcceptAll, this);
}

AnswerServer::~AnswerServer() {
    shutdown(m_listener, SHUT_RDWR); // ends accept()
    m_thread.join();
    close(m_listener);
}

void AnswerServer::AcceptAll() const {
    for (;;) {
        const int connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection == -1) {
            return;
        }
        Serve(connection);
        close(connection);
    }
}
