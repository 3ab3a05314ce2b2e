// SPDX-License-Identifier: Apache-2.0
// What a driver is told while it feeds a reader.
#include <gtest/gtest.h>

#include "Answers.h"
#include "Coded.h"
#include "http1/GrammarError.h"
#include "http1/ResponseReader.h"

namespace httpclient::http1 {
namespace {

using Event = ResponseReader::Event;

class Reader : public ::testing::Test {
protected:
    /// The bytes live until the next call: a piece is a view into them.
    ResponseReader::Progress Feed(std::string bytes) {
        m_fed = std::move(bytes);
        return reader.Feed(m_fed.data(), m_fed.size());
    }

    ResponseHead head;
    ResponseReader reader{Method::Get, {}, true, head};
    std::string body;

private:
    std::string m_fed;
};

} // namespace

TEST_F(Reader, TellsTheHeadBeforeItTakesAnyOfTheBody) {
    const std::string first = OK + "Content-Length: 5\r\n\r\n";
    const ResponseReader::Progress progress = Feed(first + "hello");
    EXPECT_EQ(progress.event, Event::Head);
    EXPECT_EQ(progress.consumed, first.size());
    EXPECT_EQ(reader.head().status, 200);
    EXPECT_EQ(&reader.head(), &head);
    reader.KeepBody(body);
    EXPECT_EQ(body, "");
    EXPECT_EQ(Feed("hello").event, Event::End);
    EXPECT_EQ(body, "hello");
}

TEST_F(Reader, TellsTheHeadAndThenTheEndWhereThereIsNoBody) {
    const ResponseReader::Progress progress = Feed("HTTP/1.1 204 No\r\n\r\nHTTP/1.1");
    EXPECT_EQ(progress.event, Event::Head);
    EXPECT_EQ(progress.consumed, 19U);
    reader.KeepBody(body);
    const ResponseReader::Progress end = Feed("HTTP/1.1");
    EXPECT_EQ(end.event, Event::End);
    EXPECT_EQ(end.consumed, 0U);
}

TEST_F(Reader, TellsTheEndWithTheLastByteOfTheBody) {
    Feed(OK + "Content-Length: 5\r\n\r\n");
    reader.KeepBody(body);
    EXPECT_EQ(Feed("hell").event, Event::More);
    const ResponseReader::Progress progress = Feed("oHTTP");
    EXPECT_EQ(progress.event, Event::End);
    EXPECT_EQ(progress.consumed, 1U);
}

TEST_F(Reader, StaysAtItsEnd) {
    Feed("HTTP/1.1 204 No\r\n\r\n");
    reader.KeepBody(body);
    EXPECT_EQ(Feed("").event, Event::End);
    EXPECT_EQ(Feed("HTTP").event, Event::End);
    EXPECT_EQ(Feed("HTTP").consumed, 0U);
    EXPECT_EQ(reader.FeedEnd(true).event, Event::End);
    EXPECT_EQ(reader.FeedEnd(false).event, Event::End);
    EXPECT_EQ(reader.error(), std::error_code());
}

TEST_F(Reader, StaysAtItsError) {
    EXPECT_EQ(Feed("ICY 200").event, Event::Error);
    EXPECT_EQ(reader.error(), GrammarError::BadStatusLine);
    EXPECT_EQ(Feed(OK).event, Event::Error);
    EXPECT_EQ(Feed(OK).consumed, 0U);
    EXPECT_EQ(reader.FeedEnd(true).event, Event::Error);
    EXPECT_EQ(reader.error(), GrammarError::BadStatusLine);
    EXPECT_EQ(reader.DirectRoom(1000).data, nullptr);
}

TEST_F(Reader, RefusesAnotherProtocolWithItsFirstWrongByte) {
    EXPECT_EQ(Feed("HTT").event, Event::More);
    EXPECT_EQ(Feed("X").event, Event::Error);
}

TEST_F(Reader, HasBegunWithTheFirstByte) {
    EXPECT_FALSE(reader.begun());
    EXPECT_EQ(Feed("").event, Event::More);
    EXPECT_FALSE(reader.begun());
    Feed("H");
    EXPECT_TRUE(reader.begun());
}

TEST_F(Reader, HasBegunWithAnInterimAnswer) {
    EXPECT_EQ(Feed("HTTP/1.1 100 Go\r\n\r\n").event, Event::More);
    EXPECT_TRUE(reader.begun());
    EXPECT_EQ(reader.FeedEnd(true).event, Event::Error);
    EXPECT_EQ(reader.error(), GrammarError::EndedEarly);
}

TEST_F(Reader, KnowsHowMuchIsStillToCome) {
    EXPECT_EQ(reader.Expected(), 0U);
    Feed(OK + "Content-Length: 100000\r\n\r\n");
    EXPECT_EQ(reader.Expected(), 100'000U);
    reader.KeepBody(body);
    Feed(std::string(1000, 'x'));
    EXPECT_EQ(reader.Expected(), 99'000U);
    Feed(std::string(99'000, 'x'));
    EXPECT_EQ(reader.Expected(), 0U);
}

TEST_F(Reader, KnowsHowMuchOfAChunkIsStillToCome) {
    Feed(OK + "Transfer-Encoding: chunked\r\n\r\n");
    EXPECT_EQ(reader.Expected(), 0U);
    reader.KeepBody(body);
    Feed("100\r\nxx");
    EXPECT_EQ(reader.Expected(), 254U);
}

TEST_F(Reader, DoesNotKnowHowMuchComesUntilTheEnd) {
    Feed(OK + "\r\n");
    reader.KeepBody(body);
    EXPECT_EQ(reader.Expected(), 0U);
}

TEST_F(Reader, HandsOverPiecesAsTheyArrive) {
    Feed(OK + "Transfer-Encoding: chunked\r\n\r\n");
    reader.HandOverBody();
    EXPECT_EQ(Feed("5\r\nhel").event, Event::Piece);
    EXPECT_EQ(reader.piece(), "hel");
    const ResponseReader::Progress progress = Feed("lo\r\n1\r\n!\r\n0\r\n\r\n");
    EXPECT_EQ(progress.event, Event::Piece);
    EXPECT_EQ(progress.consumed, 2U);
    EXPECT_EQ(reader.piece(), "lo");
    EXPECT_EQ(Feed("\r\n1\r\n!\r\n0\r\n\r\n").event, Event::Piece);
    EXPECT_EQ(reader.piece(), "!");
    EXPECT_EQ(Feed("\r\n0\r\n\r\n").event, Event::End);
    EXPECT_EQ(reader.piece(), "");
}

TEST_F(Reader, HandsOverWhatIsDecodedWhenAllIsFed) {
    const std::string coded = Compressed(std::string(40'000, 'x'), Format::Gzip);
    Feed(OK + "Content-Encoding: gzip\r\n\r\n");
    reader.HandOverBody();
    ResponseReader::Progress progress = Feed(coded);
    std::size_t used = progress.consumed;
    std::size_t size = 0;
    while (progress.event == Event::Piece) {
        size += reader.piece().size();
        progress = Feed(coded.substr(used));
        used += progress.consumed;
    }
    EXPECT_EQ(progress.event, Event::More);
    EXPECT_EQ(used, coded.size());
    EXPECT_EQ(size, 40'000U);
    EXPECT_EQ(reader.FeedEnd(true).event, Event::End);
}

TEST_F(Reader, HandsOverWhatIsLeftWhenTheConnectionEnds) {
    // The driver tells the end at once, while decoded bytes wait: they come first.
    const std::string coded = Compressed(std::string(40'000, 'x'), Format::Gzip);
    Feed(OK + "Content-Encoding: gzip\r\n\r\n");
    reader.HandOverBody();
    std::size_t used = 0;
    std::size_t size = 0;
    while (used < coded.size()) {
        const ResponseReader::Progress progress = Feed(coded.substr(used));
        ASSERT_EQ(progress.event, Event::Piece);
        used += progress.consumed;
        size += reader.piece().size();
    }
    Event event = reader.FeedEnd(true).event;
    while (event == Event::Piece) {
        size += reader.piece().size();
        event = reader.FeedEnd(true).event;
    }
    EXPECT_EQ(event, Event::End);
    EXPECT_EQ(size, 40'000U);
}

TEST_F(Reader, TellsHowLongTheServerKeepsTheConnection) {
    const std::vector<std::pair<std::string, std::optional<std::chrono::seconds>>> rows = {
        {"Keep-Alive: timeout=5", std::chrono::seconds(5)},
        {"keep-alive: max=100, Timeout = 15", std::chrono::seconds(15)},
        {"Keep-Alive: timeout=0", std::chrono::seconds(0)},
        {"Keep-Alive: timeout=5\r\nKeep-Alive: timeout=3", std::chrono::seconds(3)},
        {"Keep-Alive: timeout=3, timeout=5", std::chrono::seconds(3)},
        {"Keep-Alive: timeout=1000000000", std::chrono::seconds(1'000'000'000)},
        {"Keep-Alive: timeout=1000000001", std::nullopt},
        {"Keep-Alive: timeout=99999999999999999999999", std::nullopt},
        {"Keep-Alive: max=100", std::nullopt},
        {"Keep-Alive: timeout", std::nullopt},
        {"Keep-Alive: timeout=", std::nullopt},
        {"Keep-Alive: timeout=x", std::nullopt},
        {"Keep-Alive: timeout=-1", std::nullopt},
        {"Keep-Alive: xtimeout=5", std::nullopt},
        {"Keep-Alive:", std::nullopt},
        {"A: b", std::nullopt},
    };
    for (const auto& [line, timeout] : rows) {
        ResponseHead ownHead;
        ResponseReader own(Method::Get, {}, true, ownHead);
        const std::string bytes = "HTTP/1.1 204 No\r\n" + line + "\r\n\r\n";
        own.Feed(bytes.data(), bytes.size());
        EXPECT_EQ(own.keepAliveTimeout(), timeout) << line;
    }
}

TEST_F(Reader, EmptiesAHeadThatWasUsedBefore) {
    Feed("HTTP/1.1 204 No\r\nA: b\r\nC: d\r\n\r\n");
    ResponseReader next(Method::Get, {}, true, head);
    EXPECT_EQ(head.size(), 0U);
    const std::string bytes = "HTTP/1.1 304 Same\r\nE: f\r\n\r\n";
    next.Feed(bytes.data(), bytes.size());
    EXPECT_EQ(head.status, 304);
    EXPECT_EQ(head.size(), 1U);
    EXPECT_EQ(head.find("e"), "f");
}

} // namespace httpclient::http1
