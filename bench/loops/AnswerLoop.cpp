// SPDX-License-Identifier: Apache-2.0
#include "AnswerLoop.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/Ports.h"

using Clock = std::chrono::steady_clock;

namespace {

/// The server's own process.
class Server {
public:
    Server(int listener, std::chrono::milliseconds after)
        : m_listener(listener), m_after(after), m_loop(epoll_create1(EPOLL_CLOEXEC)) {
        Watch(listener);
    }

    [[noreturn]] void Run() {
        std::vector<epoll_event> events(1024);
        for (;;) {
            const int count =
                epoll_wait(m_loop, events.data(), static_cast<int>(events.size()), MillisecondsLeft());
            for (int index = 0; index < count; ++index) {
                const int fd = events[static_cast<std::size_t>(index)].data.fd;
                fd == m_listener ? Accept() : Read(fd);
            }
            while (!m_due.empty() && m_due.front().first <= Clock::now()) {
                Answer(m_due.front().second);
                m_due.pop_front();
            }
        }
    }

private:
    void Watch(int fd) const {
        epoll_event event{EPOLLIN, {}};
        event.data.fd = fd;
        epoll_ctl(m_loop, EPOLL_CTL_ADD, fd, &event);
    }
    int MillisecondsLeft() const {
        if (m_due.empty()) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due.front().first - Clock::now());
        return static_cast<int>(std::max<std::int64_t>(0, left.count()));
    }
    void Accept() const {
        for (int fd = 0; (fd = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0;) {
            Watch(fd);
        }
    }
    void Read(int fd) {
        char room[4096];
        const ssize_t got = recv(fd, room, sizeof room, 0); // a small request comes in one piece
        if (got > 0) {
            m_after.count() == 0 ? Answer(fd) : Later(fd);
        } else if (got == 0 || errno != EAGAIN) {
            Forget(fd);
            close(fd);
        }
    }
    void Later(int fd) { m_due.emplace_back(Clock::now() + m_after, fd); }
    void Forget(int fd) {
        m_due.erase(
            std::remove_if(m_due.begin(), m_due.end(), [fd](const auto& one) { return one.second == fd; }),
            m_due.end());
    }
    void Answer(int fd) const { static_cast<void>(send(fd, m_answer.data(), m_answer.size(), MSG_NOSIGNAL)); }

    const std::string m_answer =
        "HTTP/1.1 200 OK\r\nServer: loop\r\nDate: Sat, 21 Nov 2026 08:52:00 GMT\r\n"
        "Content-Type: text/plain\r\nContent-Length: 128\r\nConnection: keep-alive\r\n\r\n" +
        std::string(128, 'x');
    const int m_listener;
    const std::chrono::milliseconds m_after;
    const int m_loop;
    std::deque<std::pair<Clock::time_point, int>> m_due;
};

} // namespace

AnswerLoop::AnswerLoop(std::chrono::milliseconds after) {
    const int listener = httpclient::testing::ListenOnLoopback(m_port, SOMAXCONN, SOCK_NONBLOCK);
    m_process = httpclient::testing::Fork([&] { Server(listener, after).Run(); });
    close(listener);
}
