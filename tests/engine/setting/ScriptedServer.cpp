// SPDX-License-Identifier: Apache-2.0
#include "setting/ScriptedServer.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httpclient/testing/Patience.h>

#include "support/SignalBlock.h"
#include "tests/support/Ports.h"

using httpclient::testing::PATIENCE;

void Moment::Come() {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_came = true;
    m_changed.notify_all();
}

bool Moment::Wait() {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, PATIENCE, [this] { return m_came; });
}

bool Moment::HasCome() {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_came;
}

bool Peer::ReceiveMore() {
    std::array<char, 65536> piece; // NOLINT: filled by recv()
    const ssize_t count = recv(m_fd, piece.data(), piece.size(), 0);
    if (count <= 0) {
        return false;
    }
    m_received.append(piece.data(), static_cast<std::size_t>(count));
    return true;
}

bool Peer::Expect(std::string_view text) {
    for (;;) {
        const std::size_t at = m_received.find(text, m_seen);
        if (at != std::string::npos) {
            m_seen = at + text.size();
            return true;
        }
        if (!ReceiveMore()) {
            return false;
        }
    }
}

bool Peer::ExpectBytes(std::size_t count) {
    while (m_received.size() < count) {
        if (!ReceiveMore()) {
            return false;
        }
    }
    return true;
}

void Peer::ExpectEnd() {
    while (ReceiveMore()) {
    }
}

void Peer::ReceiveUntilQuiet(int milliseconds, std::size_t most) {
    pollfd ready{m_fd, POLLIN, 0};
    while (m_received.size() < most && poll(&ready, 1, milliseconds) > 0 && ReceiveMore()) {
    }
}

void Peer::Send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return; // the client is gone, which the test sees elsewhere
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Peer::Reset() const {
    const linger atOnce{1, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void Peer::EndSending() const {
    shutdown(m_fd, SHUT_WR);
}

ScriptedServer::ScriptedServer(Script script, int receiveBuffer) : m_script(std::move(script)) {
    m_listener = httpclient::testing::ListenOnLoopback(m_port);
    if (receiveBuffer > 0) { // before any connection, which takes it over
        setsockopt(m_listener, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    const SignalBlock quiet; // which the threads of connections inherit
    m_listening = std::thread([this] { Listen(); });
}

ScriptedServer::~ScriptedServer() {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopped = true;
        shutdown(m_listener, SHUT_RDWR);
        for (const int fd : m_open) {
            shutdown(fd, SHUT_RDWR);
        }
    }
    m_listening.join();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    close(m_listener);
}

unsigned int ScriptedServer::accepted() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_accepted;
}

std::vector<std::string> ScriptedServer::received() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_received;
}

bool ScriptedServer::WaitForEnds(std::size_t count) const {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, PATIENCE, [this, count] { return m_received.size() >= count; });
}

void ScriptedServer::Listen() {
    for (;;) {
        const int fd = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard<std::mutex> lock(m_lock);
        if (fd < 0 && (m_stopped || (errno != EMFILE && errno != ENFILE && errno != EINTR))) {
            return;
        }
        if (fd < 0) {
            continue;
        }
        if (m_stopped) {
            close(fd);
            return;
        }
        m_open.push_back(fd);
        m_threads.emplace_back([this, fd, number = ++m_accepted] { Serve(fd, number); });
    }
}

void ScriptedServer::Serve(int fd, unsigned int number) {
    Peer peer(fd, number);
    m_script(peer);
    const std::lock_guard<std::mutex> lock(m_lock);
    m_open.erase(std::find(m_open.begin(), m_open.end(), fd));
    close(fd); // under the lock, so that the destructor shuts down nobody else's
    m_received.push_back(peer.received());
    m_changed.notify_all();
}
