// SPDX-License-Identifier: Apache-2.0
/// @file
/// The question that a call of httpclient::Client asks.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <httpclient/Export.h>

namespace httpclient {

class Response;

/// The methods of RFC 9110 and RFC 5789 that the engine sends. The list may grow.
enum class Method { Get, Head, Post, Put, Patch, Delete, Options };

/// @return the method as it is written into the request, "GET" for instance; "" for an unknown value.
HTTPCLIENT_EXPORT const char* ToString(Method method) noexcept;

/// Gives a request's body piece by piece.
/// @return the number of bytes written, at most @p room; 0: the end; negative: give up, the call ends as
///         Cancelled.
using BodySource = std::function<std::ptrdiff_t(char* to, std::size_t room)>;
/// Takes an answer's body piece by piece, decoded.
/// @return false: enough, the call ends as Cancelled.
using BodySink = std::function<bool(std::string_view piece)>;

/// A request: copyable, movable, reusable; one that was moved from is empty. Nothing is checked before the call; what breaks a rule ends it as
/// FailureKind::InvalidRequest before a byte goes out.
///
/// @par Thread Safety
/// Like a std::string: several threads may send one object at once as long as none changes it. Then the
/// functions that it holds (source, sink, head) are called by several threads, too.
///
/// @par Performance
/// Sending reads the request where it lies; only Client::Start() takes a copy, or the object itself.
class HTTPCLIENT_EXPORT Request {
public:
    /// @param method the method.
    /// @param target "/path" or "/path?query", in URL form (RFC 9112, origin-form): what is not allowed in a URL
    ///        has to be percent-encoded.
    Request(Method method, std::string target);
    Request(const Request& other);                ///< Copies.
    Request(Request&& other) noexcept;            ///< Moves.
    Request& operator=(const Request& other);     ///< Copies.
    Request& operator=(Request&& other) noexcept; ///< Moves.
    ~Request();

    /// Adds a header field. Fields go out in the order of the calls, a name may come more than once, and a field
    /// of the host's replaces a default of the engine's (User-Agent, Accept-Encoding, Content-Type).
    ///
    /// What frames or routes the message is the engine's: Content-Length, Transfer-Encoding, Host, Expect, TE,
    /// Trailer, Upgrade, Keep-Alive and Connection are refused, but for "Connection: close", which is kept to.
    Request& header(std::string name, std::string value);
    /// Appends a parameter to the target's query.
    /// @param name,value UTF-8; percent-encoded here (RFC 3986: all but the unreserved characters).
    Request& parameter(std::string_view name, std::string_view value);
    /// Gives the request a body, any bytes. Not for GET and HEAD.
    /// @param content the bytes.
    /// @param contentType the value of Content-Type; empty: no such field.
    Request& body(std::string content, std::string contentType = {});
    /// Gives the request a body that is read piece by piece while it is sent.
    /// @param open called once for each attempt; gives the source of that attempt.
    /// @param length the number of bytes; without one the body is sent in chunks.
    /// @param contentType the value of Content-Type; empty: no such field.
    Request& bodySource(std::function<BodySource()> open, std::optional<std::uint64_t> length,
                        std::string contentType = {});
    /// Has the body of a 2xx answer handed over piece by piece instead of being kept. The body of any other
    /// answer is kept in the response. Nothing is sent again after the first piece.
    Request& bodySink(BodySink sink);
    /// Calls a function with status and header fields before the first piece of the body.
    /// @param seen returns false to end the call as Cancelled. It sees only the answer that is the outcome.
    Request& onHead(std::function<bool(const Response&)> seen);
    /// Sets the time-out of the whole call, instead of the client's.
    Request& timeout(std::chrono::milliseconds whole);
    /// Says whether the request may be sent again when it is not known whether it arrived. Default: true for
    /// GET, HEAD, PUT, DELETE and OPTIONS (RFC 9110, 9.2.2), false for POST and PATCH.
    Request& idempotent(bool may);
    /// Names the route in statistics and traces, "/orders/{id}" for instance.
    Request& label(std::string route);

    /// @cond INTERNAL
    class Body;
    const Body* internals() const noexcept { return m_body.get(); } ///< null: moved from
    [[gnu::visibility("hidden")]] explicit Request(std::unique_ptr<Body> body) noexcept;
    /// @endcond

private:
    [[gnu::visibility("hidden")]] Body& Own();
    std::unique_ptr<Body> m_body;
};

} // namespace httpclient
