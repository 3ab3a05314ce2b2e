// SPDX-License-Identifier: Apache-2.0
/// @file
/// The bytes of one connection, plain or over TLS.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "Descriptor.h"
#include "StopSignal.h"

namespace httpclient::testing {

/// One connection's bytes, and its owner. Every wait ends when the server stops. Used by one thread.
class Stream {
public:
    /// @param socket a connected, non-blocking socket.
    /// @param stop what ends the waits; must outlive the stream.
    Stream(Descriptor socket, const StopSignal& stop);
    virtual ~Stream() = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Waits for bytes. @return how many came; 0 at the end, on an error and at a stop.
    virtual std::size_t Read(char* buffer, std::size_t size) = 0;
    /// Sends all bytes. @return false on an error and at a stop.
    virtual bool Write(std::string_view bytes) = 0;
    /// Tells the client that nothing more comes, if the protocol has words for it.
    virtual void SayGoodbye() {}
    /// @return the subject of the client's certificate; "" when it has none.
    virtual std::string PeerSubject() const { return {}; }

    /// Waits until the client has closed, reading nothing.
    void AwaitHangUp() const;
    /// Makes the destructor close with a TCP reset.
    void ResetOnClose() const;

protected:
    int fd() const { return m_socket.get(); }
    bool WaitFor(short events) const { return m_stop.WaitFor(fd(), events); }

private:
    Descriptor m_socket;
    const StopSignal& m_stop;
};

/// A connection without TLS.
class PlainStream : public Stream {
public:
    using Stream::Stream;
    std::size_t Read(char* buffer, std::size_t size) override;
    bool Write(std::string_view bytes) override;
};

/// Makes streams of connections. Safe from any number of threads.
class StreamOpener {
public:
    StreamOpener() = default;
    virtual ~StreamOpener() = default;
    StreamOpener(const StreamOpener&) = delete;
    StreamOpener& operator=(const StreamOpener&) = delete;
    /// @return the stream, ready for HTTP; null when the handshake failed.
    virtual std::unique_ptr<Stream> Open(Descriptor socket, const StopSignal& stop) = 0;
};

/// Makes plain streams.
class PlainOpener : public StreamOpener {
public:
    std::unique_ptr<Stream> Open(Descriptor socket, const StopSignal& stop) override;
};

} // namespace httpclient::testing
