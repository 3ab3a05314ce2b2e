// SPDX-License-Identifier: Apache-2.0
// How a connection is made: versions, certificates of the client, protocols, and servers that speak something else.
#include <sys/socket.h>

#include "tls/TlsRows.h"

namespace {

TlsRow Versions(std::string name, int oldest, int newest, std::string outcome = "200 answer") {
    Manner manner = Sound();
    manner.oldest = oldest;
    manner.newest = newest;
    manner.weak = oldest < TLS1_2_VERSION;
    return {std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
}

TlsRow Protocol(std::string name, std::string protocol, std::string outcome = "200 answer") {
    Manner manner = Sound();
    manner.protocol = std::move(protocol);
    return {std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
}

/// A server that takes the client's first bytes and sends these instead of a handshake.
TlsRow Speaking(std::string name, std::string bytes, std::string outcome) {
    Manner manner;
    manner.instead = [bytes = std::move(bytes)](int fd) {
        char hello[4096];
        static_cast<void>(recv(fd, hello, sizeof hello, 0));
        static_cast<void>(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
        shutdown(fd, SHUT_WR);
        while (recv(fd, hello, sizeof hello, 0) > 0) {
        }
    };
    return {std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
}

TlsRow Demanding(std::string name, int version, const Certified* shown, std::string outcome = "200 answer") {
    Manner manner = Sound();
    manner.oldest = manner.newest = version;
    manner.clientCa = TheAuthority().pem();
    TlsRow row{std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
    if (shown != nullptr) {
        row.options = [certificate = shown->pem(), key = shown->keyPem()](httpclient::TlsOptions& tls) {
            tls.memory(TheAuthority().pem(), certificate, key);
        };
    }
    return row;
}

Saying ClientSaying() {
    Saying client;
    client.subject = "client";
    client.purpose = "clientAuth";
    return client;
}

} // namespace

TlsRows VersionRows() {
    using namespace std::string_literals;
    const Certified known(ClientSaying(), TheAuthority());
    Saying late = ClientSaying();
    late.last = "20000102000000Z";
    const Certified expired(late, TheAuthority());
    const Certified foreign(ClientSaying(), Certified(Saying::Authority("Foreign")));
    return {
        Versions("TLS 1.3 alone", TLS1_3_VERSION, TLS1_3_VERSION),
        Versions("TLS 1.2 alone", TLS1_2_VERSION, TLS1_2_VERSION),
        Versions("TLS 1.1 alone", TLS1_1_VERSION, TLS1_1_VERSION,
                 "Tls in Handshake: tlsv1 alert protocol version"),
        Versions("TLS 1.0 alone", TLS1_VERSION, TLS1_VERSION,
                 "Tls in Handshake: tlsv1 alert protocol version"),
        Versions("TLS 1.0 to 1.3", TLS1_VERSION, TLS1_3_VERSION),
        Protocol("http/1.1 by ALPN", "http/1.1"),
        Protocol("nothing by ALPN", ""),
        Protocol("h2 by ALPN, which was not offered", "h2", "Tls in Handshake: bad extension"),
        Speaking("plain HTTP", "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n",
                 "Tls in Handshake: wrong version number"),
        Speaking("noise", "SSH-2.0-server\r\n", "Tls in Handshake: wrong version number"),
        Speaking("an alert: handshake_failure", "\x15\x03\x03\0\x02\x02\x28"s,
                 "Tls in Handshake: sslv3 alert handshake failure"),
        Speaking("an alert: unrecognized_name", "\x15\x03\x03\0\x02\x02\x70"s,
                 "Tls in Handshake: tlsv1 unrecognized name"),
        Speaking("a record that is too long", "\x16\x03\x03\xFF\xFF"s + std::string(2000, 'x'),
                 "Tls in Handshake: packet length too long"),
        Speaking("half a record", "\x16\x03\x03\x01\0\x02"s,
                 "Tls in Handshake: unexpected eof while reading"),
        Speaking("nothing", "", "Tls in Handshake: unexpected eof while reading"),
        Demanding("a certificate is demanded, TLS 1.2", TLS1_2_VERSION, &known),
        Demanding("a certificate is demanded, TLS 1.3", TLS1_3_VERSION, &known),
        Demanding("none is shown, TLS 1.2", TLS1_2_VERSION, nullptr,
                  "Tls in Handshake: sslv3 alert handshake failure"),
        Demanding("none is shown, TLS 1.3", TLS1_3_VERSION, nullptr,
                  "Tls: tlsv13 alert certificate required"),
        Demanding("one that has expired, TLS 1.2", TLS1_2_VERSION, &expired,
                  "Tls in Handshake: sslv3 alert certificate expired"),
        Demanding("one that has expired, TLS 1.3", TLS1_3_VERSION, &expired,
                  "Tls: sslv3 alert certificate expired"),
        Demanding("a foreign one, TLS 1.2", TLS1_2_VERSION, &foreign,
                  "Tls in Handshake: tlsv1 alert unknown ca"),
        Demanding("a foreign one, TLS 1.3", TLS1_3_VERSION, &foreign, "Tls: tlsv1 alert unknown ca"),
    };
}
