// SPDX-License-Identifier: Apache-2.0
/// @file
/// The server's side of a TLS connection, driven step by step on the test's own thread.
#pragma once

#include <cstddef>
#include <string>

#include <httpclient/testing/Certificates.h>

#include "net/Descriptor.h"
#include "net/OpenSsl.h"

/// What a server is set up with.
struct PeerSettings {
    httpclient::testing::Identity identity;
    std::string clientCa = {};   ///< demands a certificate of this CA; empty: asks for none
    int newest = TLS1_3_VERSION; ///< the newest version that it speaks
    int oldest = TLS1_2_VERSION; ///< the oldest one
    bool tickets = true;         ///< TLS 1.2: tickets, or else sessions that it keeps itself
    std::string protocol = {};   ///< what it selects by ALPN, if offered; empty: nothing
};

/// A server's context; many connections may be made with it.
class PeerContext {
public:
    explicit PeerContext(const PeerSettings& settings);
    SSL_CTX* get() const { return m_context.get(); }

private:
    static int Select(SSL* ssl, const unsigned char** out, unsigned char* outSize, const unsigned char* in,
                      unsigned int inSize, void* self);

    std::string m_protocol;
    httpclient::net::ContextPtr m_context;
};

/// One connection.
class TlsPeer {
public:
    TlsPeer(const PeerContext& context, httpclient::net::Descriptor socket);
    ~TlsPeer();
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;

    int fd() const { return m_socket.get(); }
    SSL* ssl() const { return m_ssl.get(); }
    /// Goes on with the handshake.
    void Accept();
    bool done() const { return m_done; }
    bool failed() const { return m_failed; }
    bool resumed() const { return SSL_session_reused(m_ssl.get()) == 1; }
    std::string serverName() const;
    /// What the client offered by ALPN, in its wire form.
    std::string offered() const { return m_offered; }
    /// The client's certificate, as in "CN=client"; "" without one.
    std::string subject() const;

    void Write(const std::string& text);
    /// Reads what is there now.
    std::string Read();
    /// Reads until this many bytes are there.
    std::string ReadExactly(std::size_t count);
    /// Whether close_notify has come; to be asked after Read().
    bool notified() const { return (SSL_get_shutdown(m_ssl.get()) & SSL_RECEIVED_SHUTDOWN) != 0; }
    void Notify(); ///< sends close_notify
    void Close() { m_socket.Reset(); }
    void HardClose(); ///< with a reset
    void Swallow();   ///< takes what has come off the socket, unread

private:
    httpclient::net::Descriptor m_socket;
    httpclient::net::SslPtr m_ssl;
    std::string m_offered;
    bool m_done = false;
    bool m_failed = false;
};
