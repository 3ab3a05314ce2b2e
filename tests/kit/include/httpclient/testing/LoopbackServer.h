// SPDX-License-Identifier: Apache-2.0
/// @file
/// A raw HTTP/1.1 server on a loopback address.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <httpclient/testing/Patience.h>
#include <httpclient/testing/RecordedRequest.h>
#include <httpclient/testing/Reply.h>

namespace httpclient::testing {

/// What a server does with a new connection.
enum class OnAccept {
    Serve,           ///< Reads requests (after the TLS handshake, if there is one).
    ReadNothing,     ///< Reads and sends nothing until the client closes or the server stops.
    Close,           ///< Closes it at once.
    Reset,           ///< Closes it at once with a TCP reset.
    CloseAfterHello, ///< Closes it once the client's first bytes are there: amid the handshake, over TLS.
};

/// How a server listens.
struct ServerOptions {
    std::string address = "127.0.0.1"; ///< Any loopback address, "::1" included.
    std::uint16_t port = 0;            ///< 0: the kernel picks a free one.
    bool answerExpect = true;          ///< Whether "Expect: 100-continue" gets its interim answer.
    /// What to do with the connection of this number (counted from 1); each is served when this is empty.
    std::function<OnAccept(unsigned int connection)> onAccept;
};

/// @return an IPv4 loopback address that no other process of this kit uses at the same time. For servers
///         whose port is fixed, so that tests can run side by side.
std::string ProcessLoopbackAddress();

class StreamOpener;

/// A raw HTTP/1.1 server on a loopback address, with one thread for the listener and one per connection.
///
/// Records what comes in byte for byte and answers what its handler says, well-formed or not.
///
/// @par Thread Safety
/// Safe from any number of threads, Stop() and the destructor excepted. The handler runs on the connections'
/// threads, so several may run at once. Signals of the process are never delivered to the server's threads.
///
/// @par Ownership
/// The destructor ends pauses and stalls, closes every connection and joins every thread; it waits for
/// nothing but a running handler.
class LoopbackServer {
public:
    /// Answers a request. What it throws is kept in failures(), reported by ReportFailure(), and answered
    /// with status 500 and the connection closed.
    using Handler = std::function<Reply(const RecordedRequest&)>;

    /// Listens and serves at once.
    /// @throw std::system_error when the address cannot be bound.
    explicit LoopbackServer(Handler handler, ServerOptions options = {});
    virtual ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    /// @return the address that it listens at.
    const std::string& address() const;
    /// @return the port that it listens at.
    std::uint16_t port() const;
    /// @return address and port as a URL has them, as in "127.0.0.1:4711" or "[::1]:4711".
    std::string authority() const;
    /// @return the URL of a path, as in "http://127.0.0.1:4711/path".
    std::string url(const std::string& path = "/") const;

    /// @return the complete requests so far, in the order in which they were complete.
    std::vector<RecordedRequest> requests() const;
    /// @return the bytes of what began as a request and was broken off, or was none.
    std::vector<std::string> unfinished() const;
    /// @return how many connections were accepted.
    unsigned int connectionsAccepted() const;
    /// @return how many connections are open.
    unsigned int openConnections() const;
    /// @return what handlers threw, in words.
    std::vector<std::string> failures() const;

    /// Waits until at least @p count requests are complete. @return whether they are.
    bool WaitForRequests(std::size_t count, std::chrono::milliseconds timeout = PATIENCE) const;
    /// Waits until at least @p count broken requests are recorded. @return whether they are.
    bool WaitForUnfinished(std::size_t count, std::chrono::milliseconds timeout = PATIENCE) const;
    /// Waits until at least @p count connections have been accepted. @return whether they are.
    bool WaitForConnections(unsigned int count, std::chrono::milliseconds timeout = PATIENCE) const;
    /// Waits until exactly @p count connections are open. @return whether they are.
    bool WaitForOpenConnections(unsigned int count, std::chrono::milliseconds timeout = PATIENCE) const;

    /// Stops as the destructor does; what was recorded stays. Its port refuses connections from now on.
    void Stop();

protected:
    /// @cond INTERNAL
    LoopbackServer(Handler handler, ServerOptions options, std::shared_ptr<StreamOpener> opener,
                   std::string scheme);
    /// @endcond

private:
    class Engine;
    std::unique_ptr<Engine> m_engine;
    std::string m_scheme;
};

} // namespace httpclient::testing
