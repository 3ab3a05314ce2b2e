// SPDX-License-Identifier: Apache-2.0
/// @file
/// TLS over one socket.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include <sys/uio.h>

#include "net/Net.h"
#include "net/OpenSsl.h"
#include "net/SocketBio.h"
#include "net/TlsContext.h"

namespace httpclient::net {

/// The TLS half of a Channel. Its socket outlives it. What it promises is said there.
class TlsLayer {
public:
    /// @throw std::bad_alloc
    TlsLayer(int fd, std::shared_ptr<const TlsContext> context, std::shared_ptr<SessionCache> sessions);
    ~TlsLayer(); ///< sends close_notify if that does not block
    TlsLayer(const TlsLayer&) = delete;
    TlsLayer& operator=(const TlsLayer&) = delete;

    IoResult Handshake();
    bool resumed() const noexcept;
    IoResult Write(const iovec* pieces, int count);
    IoResult Read(char* to, std::size_t room);
    bool Quiet();
    bool Buffered() const noexcept { return m_buffered; }

    /// Has new sessions of connections with this context put where their channel says.
    static void KeepSessions(SSL_CTX* context);

private:
    enum class Doing { Handshake, Reading, Writing };

    static int OnNewSession(SSL* ssl, SSL_SESSION* session);

    void Prepare();
    void OfferSession();
    void KeepSession(SSL_SESSION* session) noexcept;
    void FinishHandshake();
    IoResult Failed(Doing doing, int result) const;
    bool EndedWithoutNotice() const;
    std::error_code Cause() const;

    std::shared_ptr<const TlsContext> m_context;
    std::shared_ptr<SessionCache> m_sessions;
    SocketBio m_socket;
    SslPtr m_ssl;
    bool m_offered = false;             ///< the handshake may resume a session
    bool m_done = false;                ///< the handshake is through
    bool m_buffered = false;            ///< more is there that the last Read() has not given
    std::optional<IoResult> m_readEnd;  ///< how reading ended; every later Read() has the same end
    std::optional<IoResult> m_writeEnd; ///< the same for writing and the handshake
};

} // namespace httpclient::net
