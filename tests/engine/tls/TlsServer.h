// SPDX-License-Identifier: Apache-2.0
/// @file
/// A TLS server of which each step can be another than a good server's.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "setting/ScriptedServer.h"
#include "tls/Certified.h"

/// How a server does TLS. By default: as it should.
struct Manner {
    std::vector<Certified> chain; ///< its own first; the others are sent with it
    int oldest = TLS1_2_VERSION;
    int newest = TLS1_3_VERSION;
    bool weak = false;    ///< takes and shows what OpenSSL holds to be weak
    std::string clientCa; ///< demands a certificate of this authority
    std::string protocol; ///< what it selects by ALPN, asked for or not; empty: nothing
    bool sessions = true; ///< can be resumed
    bool ticketKeys =
        true; ///< false: each connection has ticket keys of its own, so that no ticket is good again
    std::function<void(SSL_CTX*)> prepare; ///< changes what connections are made with
    /// In place of the handshake. Empty: the handshake.
    std::function<void(int fd)> instead;
    /// In place of one request and one answer. Empty: those, until the client ends.
    std::function<void(SSL* ssl, int fd)> talk;
};

/// Reads a request to the end of its head. @return it; "" when it does not come.
std::string ReadHead(SSL* ssl);
/// Answers with these bytes. @return whether they went out.
bool Answer(SSL* ssl, const std::string& answer = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer");

/// Listens on 127.0.0.1; a thread for each connection.
class TlsServer {
public:
    explicit TlsServer(Manner manner);
    unsigned short port() const { return m_server.port(); }
    unsigned handshakes() const { return m_handshakes; }
    unsigned resumed() const { return m_resumed; }

private:
    kit::ContextPtr MakeContext() const;
    void Serve(Peer& peer);

    const Manner m_manner;
    std::atomic<unsigned> m_handshakes{0};
    std::atomic<unsigned> m_resumed{0};
    const kit::ContextPtr m_context;
    ScriptedServer m_server; // last: its threads end first
};
