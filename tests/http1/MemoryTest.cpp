// SPDX-License-Identifier: Apache-2.0
// How much memory an answer takes, and what happens where there is none.
#include <algorithm>
#include <cstdio>
#include <new>

#include <gtest/gtest.h>

#include "AnswerDelivery.h"
#include "Coded.h"
#include "http1/RequestHead.h"
#include "interpose/Allocations.h"

namespace httpclient::http1 {
namespace {

using httpclient::testing::CountedNew;
using Event = ResponseReader::Event;

constexpr std::size_t MIB = 1024UL * 1024;

/// What a small answer of a usual server looks like.
const std::string SMALL_ANSWER = OK +
                                 "Server: nginx/1.22.1\r\n"
                                 "Date: Sat, 21 Nov 2026 18:03:03 GMT\r\n"
                                 "Content-Type: application/json\r\n"
                                 "Content-Length: 128\r\n"
                                 "Last-Modified: Sat, 21 Nov 2026 17:03:03 GMT\r\n"
                                 "Connection: keep-alive\r\n"
                                 "ETag: \"6560f0f7-80\"\r\n"
                                 "Accept-Ranges: bytes\r\n\r\n" +
                                 std::string(128, 'x');

/// An answer that needs every kind of memory: many fields, a fold, a coding, chunks, and a body that grows.
std::string LargeAnswer() {
    std::string head = OK + "Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n";
    for (int i = 0; i < 40; ++i) {
        head += "N" + std::to_string(i) + ": a\r\n b\r\n";
    }
    const std::string coded = Compressed(std::string(100'000, 'x'), Format::Gzip);
    std::string size(16, '\0');
    size.resize(static_cast<std::size_t>(std::snprintf(size.data(), size.size(), "%zx", coded.size())));
    return "HTTP/1.1 100 Continue\r\n\r\n" + head + "\r\n" + size + "\r\n" + coded + "\r\n0\r\n\r\n";
}

struct Kept {
    ResponseHead head;
    std::string body;
    Event event = Event::More;
    std::error_code error;
    std::size_t largest = 0; ///< the most room that the body's text had
};

/// Reads an answer that arrives in pieces of a size.
void Read(const std::string& bytes, std::size_t piece, Kept& kept, const Limits& limits = {}) {
    ResponseReader reader(Method::Get, limits, true, kept.head);
    std::size_t used = 0;
    while (kept.event != Event::End && kept.event != Event::Error && used < bytes.size()) {
        const ResponseReader::Progress progress =
            reader.Feed(bytes.data() + used, std::min(piece, bytes.size() - used));
        used += progress.consumed;
        kept.event = progress.event;
        kept.largest = std::max(kept.largest, kept.body.capacity());
        if (progress.event == Event::Head) {
            reader.KeepBody(kept.body);
        }
    }
    kept.error = reader.error();
}

/// What comes out of zlib for so many bytes: a bomb of a thousandth of the size.
std::string Bomb(std::size_t size) {
    const std::string coded = Compressed(std::string(size, '\0'), Format::Gzip);
    return OK + "Content-Encoding: gzip\r\nContent-Length: " + std::to_string(coded.size()) + "\r\n\r\n" +
           coded;
}

} // namespace

TEST(ReaderMemory, IsTwoAllocationsForASmallAnswer) {
    Kept kept;
    const CountedNew counted;
    Read(SMALL_ANSWER, SMALL_ANSWER.size(), kept);
    EXPECT_EQ(counted.Count(), 2U); // the head's text, the body
    EXPECT_EQ(kept.event, Event::End);
    EXPECT_EQ(kept.head.size(), 8U);
    EXPECT_EQ(kept.body.size(), 128U);
}

TEST(ReaderMemory, IsOneAllocationWhereTheBodyIsTiny) {
    const std::string bytes = OK + "Content-Length: 15\r\n\r\n" + std::string(15, 'x');
    Kept kept;
    const CountedNew counted;
    Read(bytes, bytes.size(), kept);
    EXPECT_EQ(counted.Count(), 1U);
}

TEST(ReaderMemory, OfAHeadIsKeptForTheNext) {
    Kept kept;
    Read(SMALL_ANSWER, SMALL_ANSWER.size(), kept);
    kept.body.clear();
    kept.event = Event::More;
    const CountedNew counted;
    Read(SMALL_ANSWER, SMALL_ANSWER.size(), kept);
    EXPECT_EQ(counted.Count(), 0U);
    EXPECT_EQ(kept.event, Event::End);
}

TEST(ReaderMemory, IsNotTakenOnTheServersWordAlone) {
    const std::string head = OK + "Content-Length: 60000000\r\n\r\n";
    Kept kept;
    Read(head + std::string(100, 'x'), 1000, kept);
    EXPECT_EQ(kept.event, Event::More);
    EXPECT_EQ(kept.largest, MIB + 100);
}

TEST(ReaderMemory, GrowsWithWhatArrivesAndNotBeyondTheLength) {
    const std::string bytes = OK + "Content-Length: 5000000\r\n\r\n" + std::string(5'000'000, 'x');
    for (std::size_t arrived = 1; arrived < bytes.size(); arrived += 777'777) {
        Kept kept;
        Read(bytes.substr(0, arrived), 10'000, kept);
        EXPECT_LE(kept.largest, 2 * arrived + MIB) << arrived;
        EXPECT_LE(kept.largest, 5'000'000U) << arrived;
    }
    Kept kept;
    Read(bytes, 10'000, kept);
    EXPECT_EQ(kept.event, Event::End);
    EXPECT_EQ(kept.body.size(), 5'000'000U);
    EXPECT_EQ(kept.largest, 5'000'000U);
}

TEST(ReaderMemory, OfABombIsNotBeyondTheLimit) {
    const std::string bomb = Bomb(64 * MIB);
    for (const std::size_t limit : {std::size_t{1000}, 100'000UL, MIB + 1, 3 * MIB}) {
        Kept kept;
        Read(bomb, bomb.size(), kept, {64UL * 1024, limit});
        EXPECT_EQ(kept.error, GrammarError::BodyTooLarge);
        EXPECT_LE(kept.largest, std::max<std::size_t>(limit, 15)) << limit; // a text has room for 15 always
    }
}

TEST(ReaderMemory, OfABombThatIsHandedOverIsAPieceAtATime) {
    const std::string bomb = Bomb(16 * MIB);
    ResponseHead head;
    ResponseReader reader(Method::Get, {}, true, head);
    std::size_t used = reader.Feed(bomb.data(), bomb.size()).consumed;
    reader.HandOverBody();
    std::size_t size = 0;
    for (;;) {
        const ResponseReader::Progress progress = reader.Feed(bomb.data() + used, bomb.size() - used);
        used += progress.consumed;
        if (progress.event != Event::Piece) {
            EXPECT_EQ(progress.event, Event::End);
            break;
        }
        ASSERT_LE(reader.piece().size(), 64U * 1024);
        size += reader.piece().size();
    }
    EXPECT_EQ(size, 16 * MIB);
}

TEST(ReaderMemory, PiecesOfABodyThatIsNotCodedAreTheBytesFed) {
    const std::string bytes = OK + "Content-Length: 200000\r\n\r\n" + std::string(200'000, 'x');
    ResponseHead head;
    ResponseReader reader(Method::Get, {}, true, head);
    std::size_t used = reader.Feed(bytes.data(), bytes.size()).consumed;
    reader.HandOverBody();
    const CountedNew counted;
    for (const std::size_t size : {65'536UL, 65'536UL, 65'536UL, 200'000UL - 3UL * 65'536UL}) {
        const ResponseReader::Progress progress = reader.Feed(bytes.data() + used, bytes.size() - used);
        EXPECT_EQ(progress.event, Event::Piece);
        EXPECT_EQ(reader.piece().data(), bytes.data() + used);
        EXPECT_EQ(reader.piece().size(), size);
        used += progress.consumed;
    }
    EXPECT_EQ(reader.Feed(bytes.data() + used, 0).event, Event::End);
    EXPECT_EQ(counted.Count(), 0U);
}

TEST(ReaderMemory, RefusedAnywhereIsBadAllocAndNothingElse) {
    const std::string bytes = LargeAnswer();
    for (const std::size_t piece : {bytes.size(), std::size_t{100}}) {
        Kept whole;
        std::size_t count = 0;
        {
            const CountedNew counted;
            Read(bytes, piece, whole);
            count = counted.Count();
        }
        EXPECT_EQ(whole.event, Event::End);
        ASSERT_GE(count, 5U);
        for (std::size_t failing = 1; failing <= count; ++failing) {
            Kept kept;
            const CountedNew counted(failing);
            EXPECT_THROW(Read(bytes, piece, kept), std::bad_alloc) << failing << " of " << count;
        }
    }
}

#ifdef HTTPCLIENT_CAN_HOLD_MALLOC
TEST(ReaderMemory, RefusedToZlibIsBadAlloc) {
    const std::string bytes = LargeAnswer();
    std::size_t count = 0;
    {
        Kept kept;
        const httpclient::testing::CountedMalloc counted;
        Read(bytes, bytes.size(), kept);
        count = counted.Count();
    }
    ASSERT_GE(count, 7U); // zlib takes two besides
    for (std::size_t failing = 1; failing <= count; ++failing) {
        Kept kept;
        const httpclient::testing::CountedMalloc counted(failing);
        EXPECT_THROW(Read(bytes, bytes.size(), kept), std::bad_alloc) << failing << " of " << count;
    }
}
#endif

TEST(RequestMemory, IsNoneWhereTheBufferHasRoom) {
    const std::vector<Field> fields = {{"Accept", "application/json"},
                                       {"X-Request-Id", "0123456789abcdef0123456789"}};
    RequestHead head;
    head.method = Method::Post;
    head.target = "/orders?customer=17";
    head.host = "shop.example:8443";
    head.fields = &fields;
    head.userAgent = "libhttpclient";
    head.contentType = "application/json";
    head.acceptCodings = true;
    head.framing = {BodyFraming::Kind::Length, 16'384};
    std::string out;
    out.reserve(1024);
    const CountedNew counted;
    EXPECT_FALSE(WriteRequestHead(head, out));
    EXPECT_FALSE(WriteRequestHead(head, out));
    EXPECT_EQ(counted.Count(), 0U);
}

TEST(RequestMemory, RefusedIsBadAlloc) {
    RequestHead head;
    head.target = "/";
    head.host = "shop.example";
    std::string out;
    const CountedNew counted(1);
    EXPECT_THROW(static_cast<void>(WriteRequestHead(head, out)), std::bad_alloc);
}

} // namespace httpclient::http1
