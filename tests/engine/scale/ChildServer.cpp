// SPDX-License-Identifier: Apache-2.0
#include "scale/ChildServer.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <map>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Ports.h"

namespace {

/// What the child does.
class Serving {
public:
    Serving(int listener, std::size_t together)
        : m_listener(listener), m_together(together), m_set(epoll_create1(0)) {
        Watch(m_listener);
    }

    [[noreturn]] void Run() {
        for (;;) {
            std::array<epoll_event, 256> ready{};
            const int count = epoll_wait(m_set, ready.data(), static_cast<int>(ready.size()), -1);
            for (int i = 0; i < count; ++i) {
                const int fd = ready.at(static_cast<std::size_t>(i)).data.fd;
                fd == m_listener ? Accept() : Read(fd);
            }
        }
    }

private:
    void Watch(int fd) const {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        epoll_ctl(m_set, EPOLL_CTL_ADD, fd, &event);
    }

    void Accept() {
        const int fd = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        ++m_accepted;
        m_received[fd].clear();
        m_highest = std::max(m_highest, m_received.size());
        Watch(fd);
    }

    void Read(int fd) {
        std::array<char, 4096> bytes{};
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            m_held.erase(std::remove(m_held.begin(), m_held.end(), fd), m_held.end());
            m_received.erase(fd);
            close(fd);
            return;
        }
        std::string& received = m_received[fd];
        received.append(bytes.data(), static_cast<std::size_t>(count));
        constexpr std::string_view END = "\r\n\r\n";
        if (received.size() < END.size() ||
            received.compare(received.size() - END.size(), END.size(), END) != 0) {
            return;
        }
        Serve(fd, received.substr(0, received.find(" HTTP/")));
        received.clear();
    }

    void Serve(int fd, const std::string& request) {
        if (request == "GET /hold") {
            m_held.push_back(fd);
            if (m_held.size() >= m_together) {
                for (const int held : m_held) {
                    Answer(held, "answer");
                }
                m_held.clear();
            }
        } else if (request == "GET /highest") {
            Answer(fd, std::to_string(m_highest));
        } else if (request == "GET /accepted") {
            Answer(fd, std::to_string(m_accepted));
        } else {
            Answer(fd, "answer");
        }
    }

    static void Answer(int fd, const std::string& body) {
        const std::string answer =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        static_cast<void>(send(fd, answer.data(), answer.size(), MSG_NOSIGNAL));
    }

    const int m_listener;
    const std::size_t m_together;
    const int m_set;
    std::map<int, std::string> m_received;
    std::vector<int> m_held;
    std::size_t m_highest = 0;
    std::size_t m_accepted = 0;
};

} // namespace

ChildServer::ChildServer(std::size_t together) {
    constexpr int BACKLOG = 4096;
    const int listener = httpclient::testing::ListenOnLoopback(m_port, BACKLOG);
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Serving(listener, together).Run();
    }
    close(listener);
    if (m_process < 0) {
        throw std::runtime_error("no process");
    }
}

ChildServer::~ChildServer() {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
}
