// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a call of httpclient::Client ends with: a response, or the failure that kept it from getting one.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <system_error>

#include <httpclient/Export.h>
#include <httpclient/Response.h>
#include <httpclient/Timings.h>

namespace httpclient {

/// Why a call has no response. The list may grow: a host treats a kind that it does not know like Internal.
enum class FailureKind {
    InvalidRequest, ///< The request breaks a rule; nothing was sent, or a body source did not keep its word.
    Overloaded, ///< More calls wait for a connection to this origin than EngineOptions::maxWaiting() allows.
    Resolve,    ///< The origin's name has no address, or none could be had.
    Connect,    ///< No address of the origin took the connection.
    Tls,        ///< The handshake failed, a certificate was refused, or the TLS material is wrong.
    Timeout,    ///< The deadline of the call, of the attempt or of connecting passed.
    Cancelled,  ///< Ended by the host: Call::Cancel(), or a source, sink or head function that gave up.
    ConnectionLost, ///< The connection ended or broke before the response was whole.
    Protocol,       ///< The server's answer is not HTTP/1.1 as RFC 9110 and RFC 9112 have it.
    TooLarge,       ///< The answer is beyond ClientOptions::maxBody() or maxHead().
    Identity,       ///< The service token that the request must carry could not be had, or must not be sent.
    Shutdown,       ///< The engine was shut down.
    Internal        ///< Memory or another resource of the process is exhausted.
};

/// Where in a call something happened, in the order of a call.
enum class Phase {
    Prepare,   ///< checking the request
    Token,     ///< getting the service token
    Lease,     ///< waiting in line for a connection
    Resolve,   ///< looking the name up
    Connect,   ///< making the TCP connection
    Handshake, ///< the TLS handshake, reading of TLS material included
    Send,      ///< sending head and body
    Head,      ///< waiting for the answer's head and reading it, one that comes while the body is sent, too
    Body       ///< reading the answer's body
};

/// @return the name of the enumerator; "Unknown" for a value that this library does not know. Never null.
HTTPCLIENT_EXPORT const char* ToString(FailureKind kind) noexcept;
/// @return the name of the enumerator; "Unknown" for a value that this library does not know. Never null.
HTTPCLIENT_EXPORT const char* ToString(Phase phase) noexcept;

/// Why a call has no response.
///
/// @par Thread Safety
/// Like a std::string: several threads may read one object.
class HTTPCLIENT_EXPORT Failure {
public:
    Failure(const Failure& other);                ///< Copies.
    Failure(Failure&& other) noexcept;            ///< Moves.
    Failure& operator=(const Failure& other);     ///< Copies.
    Failure& operator=(Failure&& other) noexcept; ///< Moves.
    ~Failure();

    FailureKind kind() const noexcept; ///< @return why there is no response.
    /// @return where the call ended.
    Phase phase() const noexcept;
    /// @return the cause as the system, the resolver, OpenSSL or the grammar named it; empty when there is none.
    std::error_code code() const noexcept;
    /// @return one line for a log. It holds no header value, no body and no query.
    const std::string& message() const noexcept;
    /// @return whether the server may have seen any of the request.
    bool requestSent() const noexcept;
    /// @return whether sending the request again can help, and cannot do twice what must be done once.
    ///
    /// Overloaded, Resolve, Connect and Identity: yes. Timeout and ConnectionLost: when nothing was sent or the
    /// request is idempotent. All others: no.
    bool retryable() const noexcept;
    /// @return how often the request was tried; 0 when the call ended in Prepare, Token or Lease.
    int attempts() const noexcept;
    const Timings& timings() const noexcept; ///< @return how long each phase took.

    /// @cond INTERNAL
    class Body;
    explicit Failure(std::unique_ptr<Body> body) noexcept;
    /// @endcond

private:
    std::unique_ptr<Body> m_body;
};

/// A Response or a Failure; move-only.
///
/// A response is a response whatever its status: a 404 is not a failure. A Result that was moved from holds
/// nothing; using it is an error (std::logic_error).
///
/// @par Thread Safety
/// Like a std::string.
// Not HTTPCLIENT_EXPORT: g++ 12 does not take both spellings of attributes.
class [[nodiscard, gnu::visibility("default")]] Result {
public:
    Result(Result && other) noexcept;           ///< Moves.
    Result& operator=(Result&& other) noexcept; ///< Moves.
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    ~Result();

    /// @return true: there is a response, whatever its status.
    explicit operator bool() const noexcept;
    /// @return the response, owned by this object.
    /// @throw std::logic_error when there is none.
    Response& operator*()&;
    /// @copydoc operator*() &
    const Response& operator*() const&;
    /// @return the response, the caller's own.
    /// @throw std::logic_error when there is none.
    Response operator*()&&;
    /// @copydoc operator*() &
    Response* operator->();
    /// @copydoc operator*() &
    const Response* operator->() const;
    /// @return the failure, owned by this object.
    /// @throw std::logic_error when there is none.
    const Failure& failure() const&;
    const Failure& failure() const&& = delete;

    /// @cond INTERNAL
    class Body;
    explicit Result(Body * body) noexcept;
    /// @endcond

private:
    Body* m_body; ///< Owned, but for the one that stands for exhausted memory, which is static.
};

} // namespace httpclient
