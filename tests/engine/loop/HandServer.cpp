// SPDX-License-Identifier: Apache-2.0
#include "loop/HandServer.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/err.h>

#include <httpclient/testing/Patience.h>

namespace kit = httpclient::testing;

namespace {

kit::ContextPtr MakeContext(const kit::TlsOptions* tls) {
    if (tls == nullptr) {
        return nullptr;
    }
    kit::ContextPtr made(SSL_CTX_new(TLS_server_method()));
    SSL_CTX* const context = made.get();
    constexpr unsigned char NAME[] = "by hand";
    kit::Check(
        context != nullptr &&
            SSL_CTX_use_certificate(context, kit::ReadCertificate(tls->identity.certificatePem).get()) == 1 &&
            SSL_CTX_use_PrivateKey(context, kit::ReadKey(tls->identity.keyPem).get()) == 1 &&
            X509_STORE_add_cert(SSL_CTX_get_cert_store(context),
                                kit::ReadCertificate(tls->clientCaPem).get()) == 1 &&
            SSL_CTX_set_session_id_context(context, NAME, sizeof NAME) == 1,
        "context");
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    return made;
}

} // namespace

HandServer::HandServer(const kit::TlsOptions* tls) : m_context(MakeContext(tls)) {}

HandServer::~HandServer() {
    for (const auto& entry : m_connections) {
        close(entry.second.fd);
    }
}

long HandServer::Read(const Connection& connection, char* to, std::size_t room) {
    if (!connection.ssl) {
        return recv(connection.fd, to, room, MSG_DONTWAIT);
    }
    ERR_clear_error();
    const int count = SSL_read(connection.ssl.get(), to, static_cast<int>(room)); // shakes hands first
    const int error = SSL_get_error(connection.ssl.get(), count);
    if (count > 0) {
        return count;
    }
    errno = error == SSL_ERROR_WANT_READ ? EAGAIN : ECONNRESET;
    return -1;
}

void HandServer::Receive(Connection& connection) {
    std::array<char, 4096> piece; // NOLINT: filled by Read()
    for (;;) {
        const long count = Read(connection, piece.data(), piece.size());
        if (count <= 0) {
            connection.ended = count == 0 || errno != EAGAIN;
            return;
        }
        connection.received.append(piece.data(), static_cast<std::size_t>(count));
    }
}

void HandServer::Accept() {
    const int fd = accept4(m_listener.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
        return;
    }
    Connection made{fd, nullptr, {}};
    if (m_context) {
        made.ssl.reset(SSL_new(m_context.get()));
        SSL_set_accept_state(made.ssl.get());
        SSL_set_fd(made.ssl.get(), fd);
    }
    m_connections.emplace(++m_accepted, std::move(made));
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
    if (watched[0].revents != 0) {
        Accept();
    }
}

template <class Done> bool HandServer::PumpUntil(const Done& done) {
    const auto giveUp = std::chrono::steady_clock::now() + kit::PATIENCE;
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

std::string HandServer::Subject(int connection) const {
    const X509* const shown = SSL_get0_peer_certificate(m_connections.at(connection).ssl.get());
    return shown != nullptr ? kit::NameText(X509_get_subject_name(shown)) : "";
}

void HandServer::Send(int connection, std::string_view bytes) {
    const Connection& to = m_connections.at(connection);
    if (to.ssl) {
        SSL_write(to.ssl.get(), bytes.data(), static_cast<int>(bytes.size()));
    } else {
        static_cast<void>(send(to.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
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
