// SPDX-License-Identifier: Apache-2.0
#include <set>

#include <gtest/gtest.h>

#include "AnswerDelivery.h"

namespace httpclient::http1 {
namespace {

/// All tables, each under the name of what it is about.
std::vector<std::pair<std::string, Answers>> Tables() {
    return {{"status line", StatusLineAnswers()}, {"fields", FieldAnswers()}, {"framing", FramingAnswers()},
            {"connection", ConnectionAnswers()},  {"chunks", ChunkAnswers()}, {"coding", CodingAnswers()}};
}

/// Delivers every answer one way.
void ExpectEach(const std::function<void(const Answer&)>& check) {
    for (const auto& [about, answers] : Tables()) {
        for (const Answer& answer : answers) {
            SCOPED_TRACE(about + ": " + answer.name);
            check(answer);
        }
    }
}

void ExpectReading(const Answer& answer, const Pieces& pieces) {
    EXPECT_EQ(Deliver(answer, pieces, Taking::Kept), answer.expected) << "kept";
    EXPECT_EQ(Deliver(answer, pieces, Taking::HandedOver), answer.expected) << "handed over";
}

} // namespace

TEST(AnswerTable, HasAtLeast150AnswersEachUnderANameOfItsOwn) {
    std::set<std::string> names;
    std::size_t count = 0;
    for (const auto& [about, answers] : Tables()) {
        for (const Answer& answer : answers) {
            EXPECT_TRUE(names.insert(about + ": " + answer.name).second) << about << ": " << answer.name;
            ++count;
        }
    }
    EXPECT_GE(count, 150U);
}

TEST(AnswerTable, IsReadWhenItArrivesWhole) {
    ExpectEach([](const Answer& answer) { ExpectReading(answer, Whole()); });
}

TEST(AnswerTable, IsReadWhenItArrivesByteByByte) {
    ExpectEach([](const Answer& answer) { ExpectReading(answer, ByteByByte()); });
}

TEST(AnswerTable, IsReadWhenItArrivesInTwoPiecesSplitAnywhere) {
    ExpectEach([](const Answer& answer) {
        for (std::size_t place = 1; place < answer.bytes.size(); ++place) {
            SCOPED_TRACE("split at " + std::to_string(place));
            ExpectReading(answer, SplitAt(place));
        }
    });
}

} // namespace httpclient::http1
