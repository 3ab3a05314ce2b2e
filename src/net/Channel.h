// SPDX-License-Identifier: Apache-2.0
/// @file
/// A connected, non-blocking stream: plain, or TLS on top.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include <sys/uio.h>

#include "net/Descriptor.h"
#include "net/Net.h"
#include "net/TlsContext.h"

namespace httpclient::net {

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

    int fd() const noexcept;
    bool isTls() const noexcept;

    /// Puts TLS on top; Handshake() has to be called until it wants nothing.
    /// @param context material and checks; kept alive by the channel.
    /// @param sessions where to take a session to resume from, and to put new ones; kept alive by the channel. May be null.
    void StartTls(std::shared_ptr<const TlsContext> context, std::shared_ptr<SessionCache> sessions);
    /// Goes on with the handshake. @return done when there is neither wish nor error.
    IoResult Handshake();
    /// After the handshake: whether a session was resumed.
    bool resumed() const noexcept;

    /// Writes as much as goes at once (plain: one sendmsg). bytes may be less than given.
    IoResult Write(const iovec* pieces, int count);
    /// Reads what is there, at most @p room.
    IoResult Read(char* to, std::size_t room);
    /// The one look before a kept connection is used again.
    /// @return whether nothing has arrived: no byte, no end, no error. TLS: tickets are not data.
    bool Quiet();
    /// Whether TLS holds decrypted bytes that poll() does not see.
    bool Buffered() const noexcept;
    /// Sets how many bytes have to be there before the socket is readable (SO_RCVLOWAT); 1: any.
    void WakeAt(std::size_t bytes);
    /// The process forked: forget the descriptor and the TLS object without touching them (leaks on purpose).
    void Abandon() noexcept;
};

} // namespace httpclient::net
