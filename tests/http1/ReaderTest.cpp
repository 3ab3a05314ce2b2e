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
        return m_reader.Feed(m_fed.data(), m_fed.size());
    }

    ResponseHead m_head;
    ResponseReader m_reader{Method::Get, {}, true, m_head};
    std::string m_body;

private:
    std::string m_fed;
};

} // namespace

TEST_F(Reader, TellsTheHeadBeforeItTakesAnyOfTheBody) {
    const std::string first = OK + "Content-Length: 5\r\n\r\n";
    const ResponseReader::Progress progress = Feed(first + "hello");
    EXPECT_EQ(progress.event, Event::Head);
    EXPECT_EQ(progress.consumed, first.size());
    EXPECT_EQ(m_reader.head().status, 200);
    EXPECT_EQ(&m_reader.head(), &m_head);
    m_reader.KeepBody(m_body);
    EXPECT_EQ(m_body, "");
    EXPECT_EQ(Feed("hello").event, Event::End);
    EXPECT_EQ(m_body, "hello");
}

TEST_F(Reader, TellsTheHeadAndThenTheEndWhereThereIsNoBody) {
    const ResponseReader::Progress progress = Feed("HTTP/1.1 204 No\r\n\r\nHTTP/1.1");
    EXPECT_EQ(progress.event, Event::Head);
    EXPECT_EQ(progress.consumed, 19U);
    m_reader.KeepBody(m_body);
    const ResponseReader::Progress end = Feed("HTTP/1.1");
    EXPECT_EQ(end.event, Event::End);
    EXPECT_EQ(end.consumed, 0U);
}

TEST_F(Reader, TellsTheEndWithTheLastByteOfTheBody) {
    Feed(OK + "Content-Length: 5\r\n\r\n");
    m_reader.KeepBody(m_body);
    EXPECT_EQ(Feed("hell").event, Event::More);
    const ResponseReader::Progress progress = Feed("oHTTP");
    EXPECT_EQ(progress.event, Event::End);
    EXPECT_EQ(progress.consumed, 1U);
}

TEST_F(Reader, StaysAtItsEnd) {
    Feed("HTTP/1.1 204 No\r\n\r\n");
    m_reader.KeepBody(m_body);
    EXPECT_EQ(Feed("").event, Event::End);
    EXPECT_EQ(Feed("HTTP").event, Event::End);
    EXPECT_EQ(Feed("HTTP").consumed, 0U);
    EXPECT_EQ(m_reader.FeedEnd(true).event, Event::End);
    EXPECT_EQ(m_reader.FeedEnd(false).event, Event::End);
    EXPECT_EQ(m_reader.error(), std::error_code());
}

TEST_F(Reader, StaysAtItsError) {
    EXPECT_EQ(Feed("ICY 200").event, Event::Error);
    EXPECT_EQ(m_reader.error(), GrammarError::BadStatusLine);
    EXPECT_EQ(Feed(OK).event, Event::Error);
    EXPECT_EQ(Feed(OK).consumed, 0U);
    EXPECT_EQ(m_reader.FeedEnd(true).event, Event::Error);
    EXPECT_EQ(m_reader.error(), GrammarError::BadStatusLine);
    EXPECT_EQ(m_reader.DirectRoom(1000).data, nullptr);
}

TEST_F(Reader, RefusesAnotherProtocolWithItsFirstWrongByte) {
    EXPECT_EQ(Feed("HTT").event, Event::More);
    EXPECT_EQ(Feed("X").event, Event::Error);
}

TEST_F(Reader, HasBegunWithTheFirstByte) {
    EXPECT_FALSE(m_reader.begun());
    EXPECT_EQ(Feed("").event, Event::More);
    EXPECT_FALSE(m_reader.begun());
    Feed("H");
    EXPECT_TRUE(m_reader.begun());
}

TEST_F(Reader, HasBegunWithAnInterimAnswer) {
    EXPECT_EQ(Feed("HTTP/1.1 100 Go\r\n\r\n").event, Event::More);
    EXPECT_TRUE(m_reader.begun());
    EXPECT_EQ(m_reader.FeedEnd(true).event, Event::Error);
    EXPECT_EQ(m_reader.error(), GrammarError::EndedEarly);
}

TEST_F(Reader, KnowsHowMuchIsStillToCome) {
    EXPECT_EQ(m_reader.Expected(), 0U);
    Feed(OK + "Content-Length: 100000\r\n\r\n");
    EXPECT_EQ(m_reader.Expected(), 100'000U);
    m_reader.KeepBody(m_body);
    Feed(std::string(1000, 'x'));
    EXPECT_EQ(m_reader.Expected(), 99'000U);
    Feed(std::string(99'000, 'x'));
    EXPECT_EQ(m_reader.Expected(), 0U);
}

TEST_F(Reader, KnowsHowMuchOfAChunkIsStillToCome) {
    Feed(OK + "Transfer-Encoding: chunked\r\n\r\n");
    EXPECT_EQ(m_reader.Expected(), 0U);
    m_reader.KeepBody(m_body);
    Feed("100\r\nxx");
    EXPECT_EQ(m_reader.Expected(), 254U);
}

TEST_F(Reader, DoesNotKnowHowMuchComesUntilTheEnd) {
    Feed(OK + "\r\n");
    m_reader.KeepBody(m_body);
    EXPECT_EQ(m_reader.Expected(), 0U);
}

TEST_F(Reader, HandsOverPiecesAsTheyArrive) {
    Feed(OK + "Transfer-Encoding: chunked\r\n\r\n");
    m_reader.HandOverBody();
    EXPECT_EQ(Feed("5\r\nhel").event, Event::Piece);
    EXPECT_EQ(m_reader.piece(), "hel");
    const ResponseReader::Progress progress = Feed("lo\r\n1\r\n!\r\n0\r\n\r\n");
    EXPECT_EQ(progress.event, Event::Piece);
    EXPECT_EQ(progress.consumed, 2U);
    EXPECT_EQ(m_reader.piece(), "lo");
    EXPECT_EQ(Feed("\r\n1\r\n!\r\n0\r\n\r\n").event, Event::Piece);
    EXPECT_EQ(m_reader.piece(), "!");
    EXPECT_EQ(Feed("\r\n0\r\n\r\n").event, Event::End);
    EXPECT_EQ(m_reader.piece(), "");
}

TEST_F(Reader, HandsOverWhatIsDecodedWhenAllIsFed) {
    const std::string coded = Compressed(std::string(40'000, 'x'), Format::Gzip);
    Feed(OK + "Content-Encoding: gzip\r\n\r\n");
    m_reader.HandOverBody();
    ResponseReader::Progress progress = Feed(coded);
    std::size_t used = progress.consumed;
    std::size_t size = 0;
    while (progress.event == Event::Piece) {
        size += m_reader.piece().size();
        progress = Feed(coded.substr(used));
        used += progress.consumed;
    }
    EXPECT_EQ(progress.event, Event::More);
    EXPECT_EQ(used, coded.size());
    EXPECT_EQ(size, 40'000U);
    EXPECT_EQ(m_reader.FeedEnd(true).event, Event::End);
}

TEST_F(Reader, HandsOverWhatIsLeftWhenTheConnectionEnds) {
    // The driver tells the end at once, while decoded bytes wait: they come first.
    const std::string coded = Compressed(std::string(40'000, 'x'), Format::Gzip);
    Feed(OK + "Content-Encoding: gzip\r\n\r\n");
    m_reader.HandOverBody();
    std::size_t used = 0;
    std::size_t size = 0;
    while (used < coded.size()) {
        const ResponseReader::Progress progress = Feed(coded.substr(used));
        ASSERT_EQ(progress.event, Event::Piece);
        used += progress.consumed;
        size += m_reader.piece().size();
    }
    Event event = m_reader.FeedEnd(true).event;
    while (event == Event::Piece) {
        size += m_reader.piece().size();
        event = m_reader.FeedEnd(true).event;
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
    ResponseReader next(Method::Get, {}, true, m_head);
    EXPECT_EQ(m_head.size(), 0U);
    const std::string bytes = "HTTP/1.1 304 Same\r\nE: f\r\n\r\n";
    next.Feed(bytes.data(), bytes.size());
    EXPECT_EQ(m_head.status, 304);
    EXPECT_EQ(m_head.size(), 1U);
    EXPECT_EQ(m_head.find("e"), "f");
}

} // namespace httpclient::http1
