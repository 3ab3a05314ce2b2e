// SPDX-License-Identifier: Apache-2.0
// The limit: a socket, what the system and OpenSSL cost, and next to nothing besides. It makes the system calls of a call of
// httpclient::Client: a look at the kept connection, sendmsg, poll with a deadline, recv. It trusts the server blindly.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <openssl/ssl.h>

#include "../Peer.h"

namespace {

constexpr int DEADLINE_MS = 30000;
constexpr std::size_t READ_SIZE = 256UL * 1024;

[[noreturn]] void Throw(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void WaitFor(int fd, short events) {
    pollfd ready{fd, events, 0};
    if (::poll(&ready, 1, DEADLINE_MS) != 1) {
        Throw("poll");
    }
}

/// A non-blocking connection.
class PlainStream {
public:
    explicit PlainStream(const Target& target) : m_fd(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        const int on = 1;
        ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(target.port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            WaitFor(m_fd, POLLOUT);
        }
    }
    ~PlainStream() { ::close(m_fd); }
    PlainStream(const PlainStream&) = delete;
    PlainStream& operator=(const PlainStream&) = delete;

    int fd() const { return m_fd; }
    /// @return whether nothing has come, not even the end.
    bool IsQuiet() const {
        char byte;
        return ::recv(m_fd, &byte, 1, MSG_PEEK) < 0;
    }
    void Write(const std::string& head, const std::string& body) {
        std::size_t sent = 0;
        while (sent < head.size() + body.size()) {
            const std::size_t ofHead = std::min(sent, head.size());
            const std::size_t ofBody = sent - ofHead;
            iovec pieces[] = {{const_cast<char*>(head.data()) + ofHead, head.size() - ofHead},
                              {const_cast<char*>(body.data()) + ofBody, body.size() - ofBody}};
            msghdr message{};
            message.msg_iov = pieces;
            message.msg_iovlen = std::size(pieces);
            const ssize_t bytes = ::sendmsg(m_fd, &message, MSG_NOSIGNAL);
            if (bytes < 0) {
                WaitFor(m_fd, POLLOUT);
            }
            sent += static_cast<std::size_t>(std::max<ssize_t>(bytes, 0));
        }
    }
    std::size_t Read(char* to, std::size_t room) {
        for (;;) {
            WaitFor(m_fd, POLLIN);
            const ssize_t bytes = ::recv(m_fd, to, room, 0);
            if (bytes > 0) {
                return static_cast<std::size_t>(bytes);
            }
            if (bytes == 0 || errno != EAGAIN) {
                Throw("recv");
            }
        }
    }

private:
    int m_fd;
};

struct FreeTls {
    void operator()(SSL* tls) const { SSL_free(tls); }
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
    void operator()(SSL_SESSION* session) const { SSL_SESSION_free(session); }
};

/// Sessions are not resumed.
class TlsStream {
public:
    explicit TlsStream(const Target& target) : m_socket(target), m_tls(SSL_new(ContextOf(target))) {
        SSL_set_fd(m_tls.get(), m_socket.fd());
        for (int result = 0; (result = SSL_connect(m_tls.get())) != 1;) {
            WaitToGoOn(result);
        }
    }
    bool IsQuiet() const { return m_socket.IsQuiet(); }
    void Write(const std::string& head, const std::string& body) {
        const std::string all = head + body;
        for (int result = 0;
             (result = SSL_write(m_tls.get(), all.data(), static_cast<int>(all.size()))) <= 0;) {
            WaitToGoOn(result);
        }
    }
    std::size_t Read(char* to, std::size_t room) {
        for (bool waited = false;; waited = true) {
            if (!waited && SSL_pending(m_tls.get()) == 0) {
                WaitFor(m_socket.fd(), POLLIN);
            }
            const int result = SSL_read(m_tls.get(), to, static_cast<int>(room));
            if (result > 0) {
                return static_cast<std::size_t>(result);
            }
            WaitToGoOn(result);
        }
    }

private:
    void WaitToGoOn(int result) {
        switch (SSL_get_error(m_tls.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return WaitFor(m_socket.fd(), POLLIN);
        case SSL_ERROR_WANT_WRITE:
            return WaitFor(m_socket.fd(), POLLOUT);
        default:
            throw std::runtime_error("TLS");
        }
    }
    static SSL_CTX* ContextOf(const Target& target) {
        thread_local std::string ca;
        thread_local std::unique_ptr<SSL_CTX, FreeTls> context;
        if (!context || ca != target.ca) {
            context.reset(SSL_CTX_new(TLS_client_method()));
            SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
            SSL_CTX_load_verify_file(context.get(), target.ca.c_str());
            SSL_CTX_use_certificate_chain_file(context.get(), target.certificate.c_str());
            SSL_CTX_use_PrivateKey_file(context.get(), target.key.c_str(), SSL_FILETYPE_PEM);
            ca = target.ca;
        }
        return context.get();
    }

    PlainStream m_socket;
    std::unique_ptr<SSL, FreeTls> m_tls;
};

std::string HeadOf(const Target& target) {
    std::string head =
        (target.body.empty() ? "GET " : "POST ") + target.path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    if (!target.token.empty()) {
        head += "x-access-token: " + target.token + "\r\n";
    }
    if (!target.body.empty()) {
        head += "Content-Length: " + std::to_string(target.body.size()) + "\r\n";
    }
    return head + "\r\n";
}

/// @return the length that a head tells, which it must.
std::size_t LengthOf(std::string_view head) {
    constexpr std::string_view NAME = "\r\nContent-Length: ";
    const std::size_t at = head.find(NAME);
    std::size_t length = 0;
    if (at == std::string_view::npos ||
        std::from_chars(head.data() + at + NAME.size(), head.data() + head.size(), length).ec !=
            std::errc()) {
        throw std::runtime_error("an answer without a length");
    }
    return length;
}

template <typename Stream> class Socket : public Peer {
public:
    explicit Socket(const Target& target)
        : m_target(target), m_head(HeadOf(target)), m_room(READ_SIZE, '\0') {}
    bool Send() override {
        try {
            if (!m_stream || !m_stream->IsQuiet()) {
                m_stream = std::make_unique<Stream>(m_target);
            }
            m_stream->Write(m_head, m_target.body);
            return Receive();
        } catch (...) {
            m_stream.reset();
            throw;
        }
    }

private:
    bool Receive() {
        std::size_t got = 0;
        std::size_t headSize = std::string::npos;
        while (headSize == std::string::npos) {
            got += m_stream->Read(m_room.data() + got, m_room.size() - got);
            headSize = std::string_view(m_room.data(), got).find("\r\n\r\n");
        }
        headSize += 4;
        const std::string_view head(m_room.data(), headSize);
        const std::size_t length = LengthOf(head);
        const int status = head.substr(9, 3) == "200" ? 200 : 0;
        const bool closes = head.find("\r\nConnection: close") != std::string_view::npos;
        std::string body;
        body.reserve(length);
        body.append(m_room, headSize, got - headSize);
        while (body.size() < length) {
            body.append(m_room, 0,
                        m_stream->Read(m_room.data(), std::min(m_room.size(), length - body.size())));
        }
        if (closes) {
            m_stream.reset();
        }
        return m_target.IsAnswer(status, body.size());
    }

    Target m_target;
    std::string m_head;
    std::string m_room;
    std::unique_ptr<Stream> m_stream;
};

} // namespace

std::unique_ptr<Peer> MakeSocket(const Target& target) {
    if (target.tls) {
        return std::make_unique<Socket<TlsStream>>(target);
    }
    return std::make_unique<Socket<PlainStream>>(target);
}
