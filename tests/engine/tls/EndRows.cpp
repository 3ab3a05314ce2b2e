// SPDX-License-Identifier: Apache-2.0
// How a connection goes on and ends, behind a handshake that went well.
#include <sys/socket.h>

#include "tls/TlsRows.h"

namespace {

using Talk = std::function<void(SSL*, int)>;

TlsRow Talking(std::string name, Talk talk, std::string outcome = "200 answer",
               int version = TLS1_3_VERSION) {
    Manner manner = Sound();
    manner.oldest = manner.newest = version;
    manner.talk = std::move(talk);
    return {std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
}

void Drain(int fd) {
    char block[4096];
    shutdown(fd, SHUT_WR);
    while (recv(fd, block, sizeof block, 0) > 0) {
    }
}

/// Answers with these bytes, then ends the connection with a notice or without.
Talk Answering(const std::string& answer, bool notice) {
    return [=](SSL* ssl, int fd) {
        ReadHead(ssl);
        Answer(ssl, answer);
        if (notice) {
            SSL_shutdown(ssl);
        }
        Drain(fd);
    };
}

void Renegotiate(SSL* ssl, int fd) {
    ReadHead(ssl);
    SSL_renegotiate(ssl);
    SSL_do_handshake(ssl); // sends a HelloRequest
    Answer(ssl);
    Drain(fd);
}

void UpdateKeys(SSL* ssl, int fd) {
    ReadHead(ssl);
    SSL_key_update(ssl, SSL_KEY_UPDATE_REQUESTED);
    Answer(ssl);
    Drain(fd);
}

void SendRaw(SSL* ssl, int fd, const std::string& bytes) {
    ReadHead(ssl);
    static_cast<void>(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    Drain(fd);
}

} // namespace

TlsRows EndRows() {
    using namespace std::string_literals;
    const std::string whole = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer";
    const std::string half = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf";
    const std::string open = "HTTP/1.1 200 OK\r\n\r\nanswer";
    const std::string chunks = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n6\r\nanswer\r\n";
    const std::string lostInHead = "ConnectionLost in Head: the connection ended before the answer was whole";
    const std::string lostInBody = "ConnectionLost in Body: the connection ended before the answer was whole";
    const std::string unnoticed =
        "ConnectionLost in Body: the connection ended without close_notify where its end is the body's";
    const auto silent = [](SSL* /*ssl*/, int fd) { Drain(fd); };
    const auto noticing = [](SSL* ssl, int fd) {
        SSL_shutdown(ssl);
        Drain(fd);
    };
    const auto raw = [](const std::string& bytes) {
        return [bytes](SSL* ssl, int fd) { SendRaw(ssl, fd, bytes); };
    };
    return {
        Talking("an answer and a notice", Answering(whole, true)),
        Talking("an answer without a notice", Answering(whole, false)),
        Talking("a notice before the answer", noticing, lostInHead),
        Talking("the end before the answer", silent, lostInHead),
        Talking("the end before the answer, TLS 1.2", silent, lostInHead, TLS1_2_VERSION),
        Talking("a notice amid the body", Answering(half, true), lostInBody),
        Talking("the end amid the body", Answering(half, false), lostInBody),
        Talking("a notice before the last chunk", Answering(chunks, true), lostInBody),
        Talking("a body up to the notice", Answering(open, true)),
        Talking("a body up to the end", Answering(open, false), unnoticed),
        Talking("a body up to the end, TLS 1.2", Answering(open, false), unnoticed, TLS1_2_VERSION),
        Talking("renegotiation, TLS 1.2", Renegotiate, "200 answer", TLS1_2_VERSION),
        Talking("new keys, TLS 1.3", UpdateKeys),
        Talking("a record that was tampered with", raw("\x17\x03\x03\0\x20"s + std::string(32, 'x')),
                "Tls in Head: decryption failed or bad record mac"),
        Talking("a record of no known kind", raw("\x63\x03\x03\0\x01x"s), "Tls in Head: bad record type"),
        Talking("plain text amid the records", raw(whole), "Tls in Head: wrong version number"),
    };
}
