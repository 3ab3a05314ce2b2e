// SPDX-License-Identifier: Apache-2.0
// Each limit just below, at, and just above what is allowed; and what is beyond a limit takes no memory.
#include <cstdio>

#include <gtest/gtest.h>

#include "AnswerDelivery.h"
#include "Coded.h"
#include "http1/ContentDecoder.h"

namespace httpclient::http1 {
namespace {

const std::string CHUNKED = OK + "Transfer-Encoding: chunked\r\n\r\n";

constexpr std::size_t LIMIT = 1000;
const Limits SMALL = {LIMIT, LIMIT};

E ErrorOf(const std::string& bytes, Taking taking = Taking::Kept, const Limits& limits = SMALL) {
    const Answer answer("", bytes);
    const E whole = Deliver(answer, Whole(), taking, limits).error;
    EXPECT_EQ(Deliver(answer, ByteByByte(), taking, limits).error, whole) << "byte by byte";
    return whole;
}

/// Fills up to a size with one field, the head's end not included.
std::string Filled(std::string head, std::size_t size) {
    const std::string name = "A: ";
    return head + name + std::string(size - head.size() - name.size(), 'x');
}

std::string HeadOf(std::size_t size) {
    return Filled("HTTP/1.1 204 No\r\n", size - 4) + "\r\n\r\n";
}

std::string TrailersOf(std::size_t size) {
    return CHUNKED + "0\r\n" + Filled("", size - 4) + "\r\n\r\n";
}

std::string Chunk(const std::string& data) {
    std::string size(16, '\0');
    size.resize(static_cast<std::size_t>(std::snprintf(size.data(), size.size(), "%zx", data.size())));
    return size + "\r\n" + data + "\r\n";
}

std::string WithLength(const std::string& body) {
    return OK + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string InChunks(std::size_t size) {
    return CHUNKED + Chunk(std::string(size / 2, 'x')) + Chunk(std::string(size - size / 2, 'x')) +
           "0\r\n\r\n";
}

std::string UntilEnd(std::size_t size) {
    return OK + "\r\n" + std::string(size, 'x');
}

std::string InGzip(std::size_t size) {
    const std::string coded = Compressed(std::string(size, 'x'), Format::Gzip);
    return OK + "Content-Encoding: gzip\r\nContent-Length: " + std::to_string(coded.size()) + "\r\n\r\n" +
           coded;
}

/// Reads a head, chooses, and feeds nothing of the body.
ResponseReader::Progress AfterHead(const std::string& head, const Limits& limits, Taking taking,
                                   std::error_code& error) {
    ResponseHead parsed;
    ResponseReader reader(Method::Get, limits, true, parsed);
    std::string body;
    EXPECT_EQ(reader.Feed(head.data(), head.size()).event, ResponseReader::Event::Head);
    if (taking == Taking::Kept) {
        reader.KeepBody(body);
    } else {
        reader.HandOverBody();
    }
    const ResponseReader::Progress progress = reader.Feed(nullptr, 0);
    error = reader.error();
    return progress;
}

} // namespace

TEST(HeadLimit, HoldsForTheFinalHead) {
    EXPECT_EQ(ErrorOf(HeadOf(LIMIT - 1)), E{});
    EXPECT_EQ(ErrorOf(HeadOf(LIMIT)), E{});
    EXPECT_EQ(ErrorOf(HeadOf(LIMIT + 1)), E::HeadTooLarge);
}

TEST(HeadLimit, HoldsForEachInterimHeadAlone) {
    std::string interim = HeadOf(LIMIT);
    interim.replace(9, 3, "103");
    EXPECT_EQ(ErrorOf(interim + interim + HeadOf(LIMIT)), E{});
    interim = HeadOf(LIMIT + 1);
    interim.replace(9, 3, "103");
    EXPECT_EQ(ErrorOf(interim + HeadOf(LIMIT)), E::HeadTooLarge);
}

TEST(HeadLimit, CountsAFoldAsItWasReceived) {
    const std::string begin = "HTTP/1.1 204 No\r\nA: b\r\n" + std::string(LIMIT - 100, ' ');
    EXPECT_EQ(ErrorOf(begin + std::string(LIMIT - begin.size() - 4, 'x') + "\r\n\r\n"), E{});
    EXPECT_EQ(ErrorOf(begin + std::string(LIMIT - begin.size() - 3, 'x') + "\r\n\r\n"), E::HeadTooLarge);
}

TEST(HeadLimit, EndsAHeadThatNeverEndsWhenItIsReached) {
    EXPECT_EQ(ErrorOf(Filled("HTTP/1.1 204 No\r\n", LIMIT - 1)), E::EndedEarly);
    EXPECT_EQ(ErrorOf(Filled("HTTP/1.1 204 No\r\n", LIMIT)), E::HeadTooLarge);
}

TEST(HeadLimit, IsTheHostsAndNotThatOfBeast) { // 8,192
    EXPECT_EQ(ErrorOf(HeadOf(64UL * 1024), Taking::Kept, {}), E{});
    EXPECT_EQ(ErrorOf(HeadOf(64UL * 1024 + 1), Taking::Kept, {}), E::HeadTooLarge);
    EXPECT_EQ(ErrorOf(HeadOf(1024UL * 1024), Taking::Kept, {SIZE_MAX, 0}), E{});
}

TEST(TrailerLimit, IsThatOfTheHead) {
    for (const Taking taking : {Taking::Kept, Taking::HandedOver}) {
        EXPECT_EQ(ErrorOf(TrailersOf(LIMIT - 1), taking), E{});
        EXPECT_EQ(ErrorOf(TrailersOf(LIMIT), taking), E{});
        EXPECT_EQ(ErrorOf(TrailersOf(LIMIT + 1), taking), E::TrailersTooLarge);
    }
}

TEST(TrailerLimit, HoldsForManyFieldsTogether) { // Beast has none
    std::string trailers;
    while (trailers.size() <= LIMIT) {
        trailers += "A: b\r\n";
    }
    EXPECT_EQ(ErrorOf(CHUNKED + "0\r\n" + trailers + "\r\n"), E::TrailersTooLarge);
}

TEST(TrailerLimit, EndsTrailersThatNeverEndWhenItIsPassed) {
    EXPECT_EQ(ErrorOf(CHUNKED + "0\r\n" + Filled("", LIMIT)), E::EndedEarly);
    EXPECT_EQ(ErrorOf(CHUNKED + "0\r\n" + Filled("", LIMIT + 1)), E::TrailersTooLarge);
}

TEST(ChunkLimit, HoldsForTheLineOfASize) {
    const auto line = [](std::size_t size) { // with its line break
        return CHUNKED + "5;" + std::string(size - 4, 'x') + "\r\nhello\r\n0\r\n\r\n";
    };
    EXPECT_EQ(ErrorOf(line(ChunkReader::MAX_LINE - 1)), E{});
    EXPECT_EQ(ErrorOf(line(ChunkReader::MAX_LINE)), E{});
    EXPECT_EQ(ErrorOf(line(ChunkReader::MAX_LINE + 1)), E::BadChunk);
}

TEST(ChunkLimit, HoldsForEachLineAlone) {
    const std::string chunk = "1;" + std::string(ChunkReader::MAX_LINE - 4, 'x') + "\r\nh\r\n";
    EXPECT_EQ(ErrorOf(CHUNKED + chunk + chunk + "0\r\n\r\n"), E{});
}

TEST(BodyLimit, HoldsForALengthThatIsTold) {
    EXPECT_EQ(ErrorOf(WithLength(std::string(LIMIT - 1, 'x'))), E{});
    EXPECT_EQ(ErrorOf(WithLength(std::string(LIMIT, 'x'))), E{});
    EXPECT_EQ(ErrorOf(WithLength(std::string(LIMIT + 1, 'x'))), E::BodyTooLarge);
}

TEST(BodyLimit, HoldsForChunksTogether) {
    EXPECT_EQ(ErrorOf(InChunks(LIMIT - 1)), E{});
    EXPECT_EQ(ErrorOf(InChunks(LIMIT)), E{});
    EXPECT_EQ(ErrorOf(InChunks(LIMIT + 1)), E::BodyTooLarge);
}

TEST(BodyLimit, HoldsUntilTheConnectionEnds) {
    EXPECT_EQ(ErrorOf(UntilEnd(LIMIT - 1)), E{});
    EXPECT_EQ(ErrorOf(UntilEnd(LIMIT)), E{});
    EXPECT_EQ(ErrorOf(UntilEnd(LIMIT + 1)), E::BodyTooLarge);
}

TEST(BodyLimit, CountsWhatIsDecoded) {
    EXPECT_EQ(ErrorOf(InGzip(LIMIT - 1)), E{});
    EXPECT_EQ(ErrorOf(InGzip(LIMIT)), E{});
    EXPECT_EQ(ErrorOf(InGzip(LIMIT + 1)), E::BodyTooLarge);
}

TEST(BodyLimit, GoesBeforeWhatIsWrongBeyondIt) {
    const std::string coded = Compressed(std::string(LIMIT + 1, 'x'), Format::Gzip) + "hello";
    EXPECT_EQ(ErrorOf(OK + "Content-Encoding: gzip\r\n\r\n" + coded), E::BodyTooLarge);
}

TEST(BodyLimit, DoesNotCountTheCodedBytes) {
    // Bytes that zlib cannot make smaller: what is coded is longer than what is decoded.
    const std::string coded = Compressed("hello", Format::Gzip);
    EXPECT_EQ(ErrorOf(OK + "Content-Encoding: gzip\r\nContent-Length: " + std::to_string(coded.size()) +
                          "\r\n\r\n" + coded,
                      Taking::Kept, {LIMIT, 5}),
              E{});
}

TEST(BodyLimit, HoldsForEveryDecodedPieceSize) {
    constexpr std::size_t PIECE = ContentDecoder::PIECE;
    for (const std::size_t limit : {PIECE - 1, PIECE, PIECE + 1, 2 * PIECE, 3 * PIECE + 7}) {
        EXPECT_EQ(ErrorOf(InGzip(limit), Taking::Kept, {LIMIT, limit}), E{}) << limit;
        EXPECT_EQ(ErrorOf(InGzip(limit + 1), Taking::Kept, {LIMIT, limit}), E::BodyTooLarge) << limit;
    }
}

TEST(BodyLimit, OfNothingAllowsAnEmptyBody) {
    const Limits none = {LIMIT, 0};
    EXPECT_EQ(ErrorOf(WithLength(""), Taking::Kept, none), E{});
    EXPECT_EQ(ErrorOf(InChunks(0).substr(0, CHUNKED.size()) + "0\r\n\r\n", Taking::Kept, none), E{});
    EXPECT_EQ(ErrorOf(WithLength("x"), Taking::Kept, none), E::BodyTooLarge);
    EXPECT_EQ(ErrorOf(UntilEnd(1), Taking::Kept, none), E::BodyTooLarge);
}

TEST(BodyLimit, OfEverythingAllowsMoreThanBeastDoes) { // 8 MiB; without a limit it takes no body at all
    const Limits all = {LIMIT, UINT64_MAX};
    const Answer answer("", WithLength(std::string(9UL * 1024 * 1024, 'x')));
    EXPECT_EQ(Deliver(answer, Whole(), Taking::Kept, all).error, E{});
}

TEST(BodyLimit, IsKnownToBePassedBeforeTheFirstByte) {
    std::error_code error;
    const std::string head = OK + "Content-Length: 1001\r\n\r\n";
    EXPECT_EQ(AfterHead(head, SMALL, Taking::Kept, error).event, ResponseReader::Event::Error);
    EXPECT_EQ(error, E::BodyTooLarge);
    EXPECT_EQ(AfterHead(head, SMALL, Taking::HandedOver, error).event, ResponseReader::Event::More);
    EXPECT_EQ(AfterHead(OK + "Content-Length: 9223372036854775807\r\n\r\n", SMALL, Taking::Kept, error).event,
              ResponseReader::Event::Error);
    EXPECT_EQ(error, E::BodyTooLarge);
}

TEST(BodyLimit, DoesNotHoldForABodyThatIsHandedOver) {
    for (const std::string& bytes : {WithLength(std::string(2 * LIMIT, 'x')), InChunks(2 * LIMIT),
                                     UntilEnd(2 * LIMIT), InGzip(2 * LIMIT)}) {
        const Reading reading = Deliver(Answer("", bytes), Whole(), Taking::HandedOver, SMALL);
        EXPECT_EQ(reading.error, E{});
        EXPECT_EQ(reading.body, std::string(2 * LIMIT, 'x'));
    }
}

TEST(BodyLimit, CountsWhatIsAppendedAlone) {
    ResponseHead head;
    ResponseReader reader(Method::Get, SMALL, true, head);
    std::string body(LIMIT, 'b'); // of an earlier answer, say
    const std::string bytes = WithLength(std::string(LIMIT, 'x'));
    const ResponseReader::Progress progress = reader.Feed(bytes.data(), bytes.size());
    reader.KeepBody(body);
    EXPECT_EQ(reader.Feed(bytes.data() + progress.consumed, bytes.size() - progress.consumed).event,
              ResponseReader::Event::End);
    EXPECT_EQ(body, std::string(LIMIT, 'b') + std::string(LIMIT, 'x'));
}

} // namespace httpclient::http1
