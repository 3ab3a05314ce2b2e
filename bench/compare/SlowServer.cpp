// SPDX-License-Identifier: Apache-2.0
#include "SlowServer.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds HANDLER_TIME{50};

/// Answers each request of a connection after its time.
void ServeConnection(int connection) {
    const std::string answer =
        "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 128\r\n\r\n" + std::string(128, 'x');
    std::string request;
    char piece[4096];
    for (ssize_t got = 0; (got = read(connection, piece, sizeof piece)) > 0;) {
        request.append(piece, static_cast<size_t>(got));
        if (request.find("\r\n\r\n") == std::string::npos) {
            continue;
        }
        request.clear();
        std::this_thread::sleep_for(HANDLER_TIME);
        if (send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) {
            break;
        }
    }
    close(connection);
}

/// A listening socket. @return -1 when there is none.
int Listen(std::uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, length) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        return -1;
    }
    port = ntohs(address.sin_port);
    return listener;
}

[[noreturn]] void Serve(int portPipe) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::uint16_t port = 0;
    const int listener = Listen(port);
    if (listener == -1 || write(portPipe, &port, sizeof port) != sizeof port) {
        _exit(1);
    }
    close(portPipe);
    for (;;) {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection == -1) {
            _exit(1);
        }
        std::thread(&ServeConnection, connection).detach();
    }
}

} // namespace

SlowServer::SlowServer() {
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    m_process = fork();
    if (m_process == 0) {
        Serve(ends[1]);
    }
    close(ends[1]);
    const bool told = read(ends[0], &m_port, sizeof m_port) == sizeof m_port;
    close(ends[0]);
    if (!told) {
        Stop();
        throw std::runtime_error("the slow server does not come up");
    }
}

SlowServer::~SlowServer() {
    Stop();
}

void SlowServer::Stop() const {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
}
