// SPDX-License-Identifier: Apache-2.0
#include "wire/Relay.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <list>
#include <system_error>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/SignalBlock.h"
#include "tests/support/Ports.h"

namespace {

using Clock = std::chrono::steady_clock;

int ConnectTo(unsigned short port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        return fd;
    }
    close(fd);
    return -1;
}

void Undelayed(int fd) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void Reset(int fd) {
    const linger atOnce{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

/// The bytes of one direction.
class Passage {
public:
    Passage(int from, int to, const Way& way, std::atomic<unsigned>& cuts)
        : m_from(from), m_to(to), m_way(way), m_cuts(cuts) {}

    /// What is waited for: bytes, room for them, or a time. @param[out] until when, if earlier.
    void Watch(std::vector<pollfd>& watched, Clock::time_point& until) const {
        if (m_ended) {
            return;
        }
        if (m_next > Clock::now()) {
            until = std::min(until, m_next);
        } else if (m_held.empty()) {
            watched.push_back({m_from, POLLIN, 0});
        } else {
            watched.push_back({m_to, POLLOUT, 0});
        }
    }

    /// Passes on what can be. @return false: both connections are to be reset.
    bool Move() {
        if (m_ended || m_next > Clock::now()) {
            return true;
        }
        if (m_held.empty() && !Receive()) {
            return true;
        }
        if (m_way.cutAt == 0) { // once there would be something to pass on
            return EndHere();
        }
        const std::size_t most = std::min({m_way.piece, m_way.cutAt - m_passed, m_held.size()});
        const ssize_t count = send(m_to, m_held.data(), most, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            m_ended = errno != EAGAIN;
            return true;
        }
        m_held.erase(0, static_cast<std::size_t>(count));
        m_passed += static_cast<std::size_t>(count);
        m_next = Clock::now() + std::chrono::milliseconds(m_way.pause);
        return m_passed != m_way.cutAt || EndHere();
    }

    bool ended() const { return m_ended; }

private:
    bool EndHere() {
        m_ended = true;
        if (m_way.cut == Way::Cut::Reset) {
            return false;
        }
        shutdown(m_to, SHUT_WR);
        ++m_cuts;
        return true;
    }

    /// @return whether there is something to pass on.
    bool Receive() {
        std::array<char, 65536> piece; // NOLINT: filled by recv()
        const ssize_t count = recv(m_from, piece.data(), piece.size(), MSG_DONTWAIT);
        if (count > 0) {
            m_held.assign(piece.data(), static_cast<std::size_t>(count));
            return true;
        }
        if (count == 0 || errno != EAGAIN) {
            m_ended = true;
            shutdown(m_to, SHUT_WR);
        }
        return false;
    }

    const int m_from;
    const int m_to;
    const Way m_way;
    std::atomic<unsigned>& m_cuts;
    std::string m_held;
    std::size_t m_passed = 0;
    Clock::time_point m_next{};
    bool m_ended = false;
};

} // namespace

struct Relay::Connection {
    Connection(int clientEnd, int serverEnd, const Faults& faults, std::atomic<unsigned>& cuts)
        : client(clientEnd), server(serverEnd), up(client, server, faults.up, cuts),
          down(server, client, faults.down, cuts), m_cuts(cuts) {
        Undelayed(client);
        Undelayed(server);
    }
    ~Connection() {
        close(client);
        close(server);
        m_cuts += m_reset ? 1U : 0U;
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// @return whether it goes on.
    bool Move() {
        if (!up.Move() || !down.Move()) {
            ::Reset(client);
            ::Reset(server);
            m_reset = true;
            return false;
        }
        return !up.ended() || !down.ended();
    }

    const int client;
    const int server;
    Passage up;
    Passage down;

private:
    std::atomic<unsigned>& m_cuts;
    bool m_reset = false;
};

Relay::Relay(unsigned short port, std::function<Faults(unsigned)> faults)
    : m_serverPort(port), m_faults(std::move(faults)),
      m_listener(httpclient::testing::ListenOnLoopback(m_port)) {
    if (pipe(m_stop) != 0) {
        throw std::system_error(errno, std::generic_category(), "a relay");
    }
    const SignalBlock block;
    m_thread = std::thread([this] { Run(); });
}

Relay::~Relay() {
    close(m_stop[1]);
    m_thread.join();
    close(m_stop[0]);
    close(m_listener);
}

void Relay::Run() {
    std::list<Connection> connections;
    for (;;) {
        std::vector<pollfd> watched{{m_stop[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
        constexpr std::chrono::seconds LOOK_AGAIN{60};
        Clock::time_point until = Clock::now() + LOOK_AGAIN;
        for (const Connection& connection : connections) {
            connection.up.Watch(watched, until);
            connection.down.Watch(watched, until);
        }
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        poll(watched.data(), watched.size(), static_cast<int>(std::max<long>(wait, 0)));
        if (watched[0].revents != 0) {
            return;
        }
        if (watched[1].revents != 0) {
            const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            const int server = ConnectTo(m_serverPort);
            if (client >= 0 && server >= 0) {
                connections.emplace_back(client, server, m_faults(++m_accepted), m_cuts);
            } else {
                close(client);
                close(server);
            }
        }
        connections.remove_if([](Connection& connection) { return !connection.Move(); });
    }
}
