// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a test server answers: bytes, their timing, and what becomes of the connection.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <httpclient/testing/RecordedRequest.h>

namespace httpclient::testing {

/// What a test server does with a connection once the bytes of a reply are out.
enum class After {
    Keep,  ///< Reads the next request.
    Close, ///< Closes it (over TLS with a close notification).
    Cut,   ///< Closes it; over TLS without a close notification.
    Reset, ///< Closes it with a TCP reset.
    Stall  ///< Reads and sends nothing more until the client closes or the server stops.
};

/// Bytes to send, and the pause before them.
struct Piece {
    std::string bytes;                  ///< Sent exactly so.
    std::chrono::milliseconds delay{0}; ///< Waited before sending; cut short when the server stops.
};

/// Header lines to send: name and value.
using Headers = std::vector<std::pair<std::string, std::string>>;

/// What a test server answers to one request. A plain value.
struct Reply {
    std::vector<Piece> pieces; ///< Sent in order, each by its own write.
    After after = After::Keep; ///< What follows.
};

/// @return a reply of exactly these bytes.
Reply Raw(std::string bytes, After after = After::Keep);
/// @return a reply with a Content-Length and a body.
Reply Respond(int status, const Headers& headers = {}, std::string_view body = {});
/// @return a reply of a head alone, as to a HEAD request; a Content-Length goes into @p headers if wanted.
Reply RespondHead(int status, const Headers& headers = {});
/// @return a reply in chunked coding, one piece per chunk.
Reply RespondChunked(int status, const Headers& headers, const std::vector<std::string>& chunks);
/// @return a reply without a length, whose body ends where the connection ends.
Reply RespondUntilClose(int status, const Headers& headers, std::string_view body);
/// @return no byte at all, then @p after.
Reply Silence(After after);
/// @return @p reply cut into single bytes with @p delay before each.
Reply Trickle(const Reply& reply, std::chrono::milliseconds delay);
/// @return @p reply with @p after instead of what followed.
Reply Then(Reply reply, After after);
/// @return @p reply with @p delay before its first byte.
Reply Delayed(Reply reply, std::chrono::milliseconds delay);
/// @return the standard reason phrase of a status, "Status" for others.
std::string_view ReasonPhrase(int status);

/// A queue of replies: a handler for any of the servers. Copies share one queue.
///
/// A request that finds the queue empty is a failure of the test (see LoopbackServer::failures()).
///
/// @par Thread Safety
/// Safe from any number of threads.
class ReplyScript {
public:
    /// Makes a queue of these replies.
    explicit ReplyScript(std::vector<Reply> replies = {});
    /// Adds a reply to the end of the queue.
    void Add(Reply reply);
    /// @return how many replies have not been used.
    std::size_t left() const;
    /// Takes the next reply.
    /// @throw std::out_of_range when there is none.
    Reply operator()(const RecordedRequest& request);

private:
    struct Queue {
        std::mutex mutex;
        std::deque<Reply> replies;
    };
    std::shared_ptr<Queue> m_queue;
};

} // namespace httpclient::testing
