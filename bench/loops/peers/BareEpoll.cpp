// SPDX-License-Identifier: Apache-2.0
// The limit: what the system costs, and next to nothing besides. It trusts the server blindly, and keeps no deadline.
#include <string_view>
#include <system_error>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "../Crowd.h"

namespace {

constexpr std::string_view REQUEST = "GET /128 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";

class BareEpoll : public Crowd {
public:
    explicit BareEpoll(const CrowdTarget& target) : m_loop(epoll_create1(EPOLL_CLOEXEC)), m_events(1024) {
        m_address.sin_family = AF_INET;
        m_address.sin_port = htons(target.port);
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~BareEpoll() override {
        for (const int fd : m_kept) {
            close(fd);
        }
        close(m_loop);
    }

    Tally Run(std::size_t inFlight, Clock::time_point until) override {
        m_tally = {};
        m_until = until;
        m_left = inFlight;
        for (std::size_t index = 0; index < inFlight; ++index) {
            index < m_kept.size() ? Send(m_kept[index]) : Connect();
        }
        while (m_left > 0) {
            const int count = epoll_wait(m_loop, m_events.data(), static_cast<int>(m_events.size()), -1);
            for (int index = 0; index < count; ++index) {
                Ready(m_events[static_cast<std::size_t>(index)]);
            }
        }
        return m_tally;
    }

private:
    void Connect() {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (fd < 0 || (connect(fd, reinterpret_cast<sockaddr*>(&m_address), sizeof m_address) != 0 &&
                       errno != EINPROGRESS)) {
            throw std::system_error(errno, std::generic_category(), "connect");
        }
        Watch(EPOLL_CTL_ADD, fd, EPOLLOUT);
        m_kept.push_back(fd);
    }
    void Watch(int how, int fd, std::uint32_t events) const {
        epoll_event event{events, {}};
        event.data.fd = fd;
        epoll_ctl(m_loop, how, fd, &event);
    }
    static void Send(int fd) {
        if (send(fd, REQUEST.data(), REQUEST.size(), MSG_NOSIGNAL) < 0) {
            throw std::system_error(errno, std::generic_category(), "send");
        }
    }
    void Ready(const epoll_event& event) {
        const int fd = event.data.fd;
        if ((event.events & EPOLLOUT) != 0) {
            Send(fd);
            Watch(EPOLL_CTL_MOD, fd, EPOLLIN);
            return;
        }
        char room[4096];
        const ssize_t got = recv(fd, room, sizeof room, 0);
        if (got <= 0) {
            throw std::runtime_error("the server has closed a connection");
        }
        const std::string_view answer(room, static_cast<std::size_t>(got));
        const bool whole =
            answer.substr(9, 3) == "200" && answer.size() - answer.find("\r\n\r\n") == 4 + ANSWER_BYTES;
        ++(whole ? m_tally.answered : m_tally.failed);
        if (Clock::now() < m_until) {
            Send(fd);
        } else {
            --m_left;
        }
    }

    sockaddr_in m_address{};
    int m_loop;
    std::vector<epoll_event> m_events;
    std::vector<int> m_kept;
    Tally m_tally;
    Clock::time_point m_until;
    std::size_t m_left = 0;
};

} // namespace

std::unique_ptr<Crowd> MakeBareEpoll(const CrowdTarget& target) {
    return std::make_unique<BareEpoll>(target);
}
