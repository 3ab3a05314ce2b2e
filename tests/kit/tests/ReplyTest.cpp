// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/Reply.h>

#include "CurlClient.h"

namespace httpclient::testing {

namespace {

std::string BytesOf(const Reply& reply) {
    std::string bytes;
    for (const Piece& piece : reply.pieces) {
        bytes += piece.bytes;
    }
    return bytes;
}

TEST(Reply, OfABodyTellsItsLength) {
    EXPECT_EQ(BytesOf(Respond(201, {{"A", "b"}, {"A", "c"}}, "body")),
              "HTTP/1.1 201 Created\r\nA: b\r\nA: c\r\nContent-Length: 4\r\n\r\nbody");
    EXPECT_EQ(Respond(200).after, After::Keep);
}

TEST(Reply, OfAHeadAddsNothing) {
    EXPECT_EQ(BytesOf(RespondHead(204, {{"A", "b"}})), "HTTP/1.1 204 No Content\r\nA: b\r\n\r\n");
}

TEST(Reply, InChunksSendsOnePieceEach) {
    const Reply reply = RespondChunked(200, {}, {"abc", "0123456789abcdef"});
    EXPECT_EQ(BytesOf(reply), "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                              "3\r\nabc\r\n10\r\n0123456789abcdef\r\n0\r\n\r\n");
    EXPECT_EQ(reply.pieces.size(), 4U);
}

TEST(Reply, UntilCloseHasNoLengthAndCloses) {
    const Reply reply = RespondUntilClose(418, {}, "body");
    EXPECT_EQ(BytesOf(reply), "HTTP/1.1 418 Status\r\n\r\nbody");
    EXPECT_EQ(reply.after, After::Close);
}

TEST(Reply, TricklesTheSameBytesOneByOne) {
    const Reply whole = Then(RespondChunked(200, {}, {"abc"}), After::Reset);
    const Reply trickle = Trickle(whole, std::chrono::milliseconds(3));
    EXPECT_EQ(BytesOf(trickle), BytesOf(whole));
    EXPECT_EQ(trickle.pieces.size(), BytesOf(whole).size());
    EXPECT_EQ(trickle.pieces.back().delay, std::chrono::milliseconds(3));
    EXPECT_EQ(trickle.after, After::Reset);
}

TEST(Reply, OfEveryKindIsUnderstoodByAClient) {
    ReplyScript script({Respond(200, {}, "one"), RespondChunked(200, {}, {"t", "wo"}),
                        RespondUntilClose(200, {}, "three"), Trickle(Respond(200, {}, "4"), {})});
    const LoopbackServer server(script);
    for (const char* body : {"one", "two", "three", "4"}) {
        EXPECT_EQ(Fetch(server.url()).body, body);
    }
    EXPECT_EQ(script.left(), 0U);
}

TEST(ReplyScript, FailsWhenNoReplyIsLeft) {
    ReplyScript script;
    script.Add(Respond(200));
    ReplyScript copy = script;
    const RecordedRequest request;
    copy(request);
    EXPECT_THROW(script(request), std::out_of_range);
}

} // namespace

} // namespace httpclient::testing
