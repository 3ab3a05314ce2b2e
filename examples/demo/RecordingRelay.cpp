// SPDX-License-Identifier: Apache-2.0
#include "demo/RecordingRelay.h"

#include <array>
#include <stdexcept>
#include <utility>
#include <vector>

#include <poll.h>

#include <ace/ACE.h>
#include <ace/INET_Addr.h>
#include <ace/SOCK_Connector.h>
#include <ace/SOCK_Stream.h>

namespace demo {
namespace {

constexpr const char* LOOPBACK = "127.0.0.1";

ACE_INET_Addr OnLoopback(int port) {
    return ACE_INET_Addr(static_cast<u_short>(port), LOOPBACK);
}

/// Moves what is there from one side to the other. @return false when there is no more to come.
template <typename Note> bool Move(ACE_SOCK_Stream& from, ACE_SOCK_Stream& to, const Note& note) {
    std::array<char, 16384> buffer;
    const ssize_t count = from.recv(buffer.data(), buffer.size());
    if (count <= 0) {
        return false;
    }
    const auto size = static_cast<size_t>(count);
    note(buffer.data(), size);
    return ACE::send_n(to.get_handle(), buffer.data(), size, MSG_NOSIGNAL) == count;
}

} // namespace

/// One client's connection and the one to the server that belongs to it.
struct RecordingRelay::Line {
    ACE_SOCK_Stream client;
    ACE_SOCK_Stream server;

    Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line() {
        client.close();
        server.close();
    }
};

RecordingRelay::RecordingRelay(int serverPort) : m_serverPort(serverPort) {
    ACE_INET_Addr address;
    if (m_acceptor.open(OnLoopback(0)) != 0 || m_acceptor.get_local_addr(address) != 0 ||
        m_stop.open() != 0) {
        throw std::runtime_error("the relay cannot listen");
    }
    m_port = address.get_port_number();
    m_thread = std::thread([this] { Run(); });
}

RecordingRelay::~RecordingRelay() {
    m_stop.close_write();
    m_thread.join();
    m_stop.close();
    m_acceptor.close();
}

RecordingRelay::Traffic RecordingRelay::Take() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_traffic, {});
}

void RecordingRelay::Accept() {
    auto line = std::make_unique<Line>();
    if (m_acceptor.accept(line->client) != 0) {
        return;
    }
    ++m_connections;
    if (ACE_SOCK_Connector().connect(line->server, OnLoopback(m_serverPort)) == 0) {
        m_lines.push_back(std::move(line));
    }
}

bool RecordingRelay::PassOn(Line& line, short clientEvents, short serverEvents) {
    const auto note = [this](std::string Traffic::*side) {
        return [this, side](const char* data, size_t size) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            (m_traffic.*side).append(data, size);
        };
    };
    return (clientEvents == 0 || Move(line.client, line.server, note(&Traffic::sent))) &&
           (serverEvents == 0 || Move(line.server, line.client, note(&Traffic::received)));
}

void RecordingRelay::Run() {
    for (;;) {
        std::vector<pollfd> watched = {{m_stop.read_handle(), POLLIN, 0},
                                       {m_acceptor.get_handle(), POLLIN, 0}};
        for (const auto& line : m_lines) {
            watched.push_back({line->client.get_handle(), POLLIN, 0});
            watched.push_back({line->server.get_handle(), POLLIN, 0});
        }
        if (poll(watched.data(), watched.size(), -1) < 0) {
            continue; // interrupted
        }
        if (watched[0].revents != 0) {
            m_lines.clear();
            return;
        }
        size_t next = 2;
        m_lines.remove_if([&](const std::unique_ptr<Line>& line) {
            const pollfd* pair = &watched[next];
            next += 2;
            return !PassOn(*line, pair[0].revents, pair[1].revents);
        });
        if (watched[1].revents != 0) {
            Accept();
        }
        m_open = static_cast<int>(m_lines.size());
    }
}

} // namespace demo
