// SPDX-License-Identifier: Apache-2.0
// Long bodies are received straight into their text.
#include <cstring>

#include <gtest/gtest.h>

#include "AnswerDelivery.h"
#include "Coded.h"

namespace httpclient::http1 {
namespace {

using Event = ResponseReader::Event;

constexpr std::size_t MUCH = 1024UL * 1024;
constexpr std::size_t LONG = 3'000'000;

std::string TextOf(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i * 7 / 3);
    }
    return text;
}

std::string LengthHead(std::size_t size) {
    return OK + "Content-Length: " + std::to_string(size) + "\r\n\r\n";
}

class DirectRoom : public ::testing::Test {
protected:
    void Begin(const std::string& bytes, const Limits& limits = {}, bool keep = true) {
        m_reader.emplace(Method::Get, limits, true, m_head);
        const ResponseReader::Progress progress = m_reader->Feed(bytes.data(), bytes.size());
        ASSERT_EQ(progress.event, Event::Head);
        if (keep) {
            m_reader->KeepBody(m_body);
        } else {
            m_reader->HandOverBody();
        }
        m_event = m_reader->Feed(bytes.data() + progress.consumed, bytes.size() - progress.consumed).event;
    }
    ResponseReader& reader() { return *m_reader; }

    /// Fills the room as a socket would that has these bytes.
    std::size_t Fill(std::string_view bytes, std::size_t most) {
        const ResponseReader::Room room = reader().DirectRoom(most);
        const std::size_t size = std::min(room.size, bytes.size());
        if (size > 0) {
            std::memcpy(room.data, bytes.data(), size);
            m_event = reader().DirectFilled(size);
        }
        return size;
    }

    ResponseHead m_head;
    std::string m_body;
    Event m_event = Event::More;

private:
    std::optional<ResponseReader> m_reader;
};

} // namespace

TEST_F(DirectRoom, TakesALongBodyWithoutAByteBeingFed) {
    const std::string text = TextOf(LONG);
    Begin(LengthHead(LONG));
    std::string_view left = text;
    while (m_event == Event::More) {
        const std::size_t taken = Fill(left, MUCH);
        ASSERT_GT(taken, 0U);
        left.remove_prefix(taken);
        if (left.size() < 4096 && !left.empty()) { // what is left then is not worth it
            m_event = reader().Feed(left.data(), left.size()).event;
        }
    }
    EXPECT_EQ(m_event, Event::End);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, IsNeverMoreThanTheBodyTakesNorThanIsAskedFor) {
    Begin(LengthHead(100'000) + std::string(1000, 'x'));
    EXPECT_EQ(reader().DirectRoom(MUCH).size, 99'000U);
    EXPECT_EQ(reader().DirectRoom(500).size, 500U);
    EXPECT_EQ(reader().DirectRoom(0).data, nullptr);
}

TEST_F(DirectRoom, IsFewAndLarge) {
    const std::string text = TextOf(MUCH);
    Begin(LengthHead(MUCH));
    std::string_view left = text;
    int count = 0;
    for (; m_event == Event::More; ++count) {
        left.remove_prefix(Fill(left, MUCH));
    }
    EXPECT_LE(count, 4);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, MayBeFilledInPart) {
    const std::string text = TextOf(300'000);
    Begin(LengthHead(300'000));
    std::string_view left = text;
    while (m_event == Event::More && left.size() > 10'000) {
        left.remove_prefix(Fill(left.substr(0, 1234), MUCH));
    }
    m_event = reader().Feed(left.data(), left.size()).event;
    EXPECT_EQ(m_event, Event::End);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, MayBeLeftUnused) {
    const std::string text = TextOf(300'000);
    Begin(LengthHead(300'000));
    EXPECT_NE(reader().DirectRoom(MUCH).data, nullptr);
    EXPECT_EQ(reader().Feed(text.data(), 100'000).event, Event::More);
    EXPECT_NE(reader().DirectRoom(MUCH).data, nullptr);
    EXPECT_EQ(reader().Feed(text.data() + 100'000, 200'000).event, Event::End);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, TakesABodyThatEndsWithTheConnection) {
    const std::string text = TextOf(LONG);
    Begin(OK + "\r\n");
    for (std::string_view left = text; !left.empty();) {
        left.remove_prefix(Fill(left, MUCH));
        ASSERT_EQ(m_event, Event::More);
    }
    EXPECT_NE(reader().DirectRoom(MUCH).data, nullptr);
    EXPECT_EQ(reader().FeedEnd(true).event, Event::End);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, TakesALongChunk) {
    const std::string text = TextOf(0x100000);
    Begin(OK + "Transfer-Encoding: chunked\r\n\r\n100000\r\n");
    std::string_view left = text;
    while (left.size() >= 64UL * 1024) {
        left.remove_prefix(Fill(left, 100'000));
    }
    EXPECT_EQ(m_event, Event::More);
    const std::string rest = std::string(left) + "\r\n0\r\n\r\n";
    EXPECT_EQ(reader().Feed(rest.data(), rest.size()).event, Event::End);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, OfAChunkEndsWithIt) {
    Begin(OK + "Transfer-Encoding: chunked\r\n\r\n20000\r\n");
    EXPECT_EQ(reader().DirectRoom(MUCH).size, 0x20000U);
    const std::string text = TextOf(0x20000);
    EXPECT_EQ(Fill(text, MUCH), text.size());
    EXPECT_EQ(m_event, Event::More);
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr); // what follows is no data
    const std::string rest = "\r\n0\r\n\r\n";
    EXPECT_EQ(reader().Feed(rest.data(), rest.size()).event, Event::End);
    EXPECT_EQ(m_body, text);
}

TEST_F(DirectRoom, IsNoneWhereBytesHaveToBeFed) {
    Begin(LengthHead(4095));
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr) << "short";
    Begin(OK + "Transfer-Encoding: chunked\r\n\r\n");
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr) << "before a chunk";
    Begin(OK + "Transfer-Encoding: chunked\r\n\r\nFFFF\r\n");
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr) << "short chunk";
    Begin(OK + "Content-Encoding: gzip\r\nContent-Length: 100000\r\n\r\n");
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr) << "coded";
    Begin(LengthHead(100'000), {}, false);
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr) << "handed over";
    Begin("HTTP/1.1 204 No\r\n\r\n");
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr) << "no body";
    ResponseReader fresh(Method::Get, {}, true, m_head);
    EXPECT_EQ(fresh.DirectRoom(MUCH).data, nullptr) << "no head";
}

TEST_F(DirectRoom, EndsWithTheLimit) {
    Begin(OK + "\r\n", {64UL * 1024, 10'000});
    EXPECT_EQ(Fill(TextOf(10'000), MUCH), 10'000U);
    EXPECT_EQ(m_event, Event::More);
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr);
    EXPECT_EQ(reader().Feed("x", 1).event, Event::Error);
    EXPECT_EQ(reader().error(), GrammarError::BodyTooLarge);
    EXPECT_LE(m_body.capacity(), 10'000U);
}

TEST_F(DirectRoom, OfALengthBeyondTheLimitIsNone) {
    Begin(LengthHead(10'001), {64UL * 1024, 10'000});
    EXPECT_EQ(m_event, Event::Error);
    EXPECT_EQ(reader().DirectRoom(MUCH).data, nullptr);
}

TEST_F(DirectRoom, TakesMemoryWithWhatArrives) {
    Begin(LengthHead(60'000'000));
    EXPECT_LE(reader().DirectRoom(MUCH).size, MUCH);
    EXPECT_LE(m_body.capacity(), 2 * MUCH);
}

TEST(DirectDelivery, ReadsWhatFeedingReads) {
    const std::string text = TextOf(200'000);
    const std::string chunks = "186A0\r\n" + text.substr(0, 100'000) + "\r\n5\r\nhello\r\n186A0\r\n" +
                               text.substr(100'000) + "\r\n0\r\n\r\n";
    const Answers answers = {
        Answer("a length", LengthHead(text.size()) + text)
            .Gives(200, {{"Content-Length", std::to_string(text.size())}}, text),
        Answer("chunks", OK + "Transfer-Encoding: chunked\r\n\r\n" + chunks)
            .Gives(200, {{"Transfer-Encoding", "chunked"}},
                   text.substr(0, 100'000) + "hello" + text.substr(100'000)),
        Answer("until the end", OK + "\r\n" + text).Gives(200, {}, text).Closing(),
        Answer("too short", LengthHead(text.size() + 1) + text).Fails(GrammarError::EndedEarly),
        Answer("torn", OK + "\r\n" + text).Torn().Fails(GrammarError::NotClosedCleanly),
    };
    for (const Answer& answer : answers) {
        for (const std::size_t piece : {7UL, 1000UL, 4096UL, 65'535UL, 65'536UL, 1'000'000UL}) {
            SCOPED_TRACE(answer.name + " in pieces of " + std::to_string(piece));
            EXPECT_EQ(Deliver(
                          answer, [piece](std::size_t) { return piece; }, Taking::Direct),
                      answer.expected);
        }
    }
}

} // namespace httpclient::http1
