// SPDX-License-Identifier: Apache-2.0
/// @file
/// A connected, non-blocking stream: plain, or TLS on top.
#pragma once

#include <cstddef>
#include <memory>

#include <sys/uio.h>

#include "net/Descriptor.h"
#include "net/Net.h"
#include "net/TlsContext.h"

namespace httpclient::net {

class TlsLayer;

/// One connection's bytes. Never raises SIGPIPE; leaves the thread's OpenSSL error queue as it was.
///
/// @par Thread Safety
/// One thread at a time.
class Channel {
public:
    /// Plain, over a connected socket.
    explicit Channel(Descriptor socket);
    Channel(Channel&&) noexcept;
    Channel& operator=(Channel&&) noexcept;
    ~Channel(); ///< sends close_notify if that does not block, and closes

    int fd() const noexcept { return m_socket.get(); }
    bool isTls() const noexcept { return m_tls != nullptr; }

    /// Puts TLS on top; Handshake() has to be called until it wants nothing.
    /// @throw std::bad_alloc
    /// @param context material and checks; kept alive by the channel.
    /// @param sessions where to take a session to resume from, and to put new ones; kept alive by the channel. May be null.
    void StartTls(std::shared_ptr<const TlsContext> context, std::shared_ptr<SessionCache> sessions);
    /// Goes on with the handshake. @return done when there is neither wish nor error. A certificate that is refused
    ///         here has an error in CertificateCategory().
    IoResult Handshake();
    /// After the handshake: whether a session was resumed.
    bool resumed() const noexcept;

    /// Writes as much as goes at once (plain: one sendmsg). bytes may be less than given. A write that had a wish is
    /// repeated with the same bytes in the same pieces; more may follow behind them.
    IoResult Write(const iovec* pieces, int count);
    /// Reads what is there, at most @p room. Bytes come alone: a wish, the end or an error comes with the next call.
    /// A failed Write() does not stand in the way: what the peer sent before can still be read.
    IoResult Read(char* to, std::size_t room);
    /// The one look before a kept connection is used again.
    /// @return whether nothing has arrived: no byte, no end, no error. TLS: tickets are not data.
    bool Quiet();
    /// Whether TLS holds what poll() does not see: whole records, or an end that Read() has come upon behind its bytes.
    bool Buffered() const noexcept;
    /// Sets how many bytes have to be there before the socket is readable (SO_RCVLOWAT); 1: any.
    void WakeAt(std::size_t bytes);
    /// The process forked: forget the descriptor and the TLS object without touching them (leaks on purpose).
    void Abandon() noexcept;

private:
    void EndTls() noexcept;

    /// Beyond it the kernel would not let a buffer grow in time, and the reader would wait for the peer's next try.
    static constexpr std::size_t MAX_WAKE_AT = 1U << 20U;

    Descriptor m_socket;
    std::unique_ptr<TlsLayer> m_tls; // ends before its socket
    int m_wakeAt = 1;
};

} // namespace httpclient::net
