// SPDX-License-Identifier: Apache-2.0
// Every single byte and every pair of bytes from 80 up, in each set of which every answer is GNU libiconv's: which
// are characters, which are undecodable, and which are the beginning of a character that does not end. What is
// assigned in a set is what its standard says.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "message/charset/CodeSetConverter.h"

namespace {

constexpr int FIRST = 0x80;
constexpr int END = 0x100;

struct Answer {
    int result;
    std::string text;
};

bool operator==(const Answer& a, const Answer& b) {
    return a.result == b.result && a.text == b.text;
}

std::ostream& operator<<(std::ostream& stream, const Answer& answer) {
    return stream << answer.result << " '" << answer.text << "'";
}

const Answer INCOMPLETE{-1, ""};
const Answer UNDECODABLE{1, "?"};

Answer Read(const std::string& set, const std::string& bytes) {
    std::string out;
    const int result = ConvertCodeSet(set, "UTF-8", bytes, out);
    return {result, out};
}

/// What two answers make, one after the other.
Answer Both(const Answer& one, const Answer& other) {
    if (one.result == -1 || other.result == -1) {
        return INCOMPLETE;
    }
    return {one.result + other.result, one.text + other.text};
}

std::string Byte(int byte) {
    return std::string(1, static_cast<char>(byte));
}

std::string Hex(const std::string& bytes) {
    constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string hex;
    for (const char c : bytes) {
        hex += DIGITS[static_cast<unsigned char>(c) >> 4U];
        hex += DIGITS[static_cast<unsigned char>(c) & 0xFU];
    }
    return hex;
}

bool IsOneCharacter(const std::string& utf8) {
    return std::count_if(utf8.begin(), utf8.end(),
                         [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }) == 1;
}

/// Expects an answer that is one character, which nothing before it was.
void ExpectNewCharacter(const std::string& set, const std::string& bytes, std::set<std::string>& seen) {
    const Answer answer = Read(set, bytes);
    EXPECT_EQ(answer.result, 0) << set << ' ' << Hex(bytes);
    EXPECT_TRUE(IsOneCharacter(answer.text)) << set << ' ' << Hex(bytes);
    EXPECT_TRUE(seen.insert(answer.text).second) << set << ' ' << Hex(bytes) << ": " << answer.text;
}

struct Range {
    int first;
    int last;
};

bool Holds(const std::vector<Range>& ranges, int byte) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [byte](const Range& range) { return byte >= range.first && byte <= range.last; });
}

/// A set of single bytes. That sets have gaps in common is chance: each is a standard of its own.
struct SingleByteSet {
    const char* name;
    std::vector<Range> unassigned;
};

const std::vector<SingleByteSet>& SingleByteSets() {
    static const std::vector<SingleByteSet> sets{
        {"ASCII", {{0x80, 0xFF}}},
        {"ISO-8859-1", {}},
        {"ISO-8859-2", {}},
        {"ISO-8859-3",
         {{0xA5, 0xA5}, {0xAE, 0xAE}, {0xBE, 0xBE}, {0xC3, 0xC3}, {0xD0, 0xD0}, {0xE3, 0xE3}, {0xF0, 0xF0}}},
        {"ISO-8859-4", {}},
        {"ISO-8859-5", {}},
        {"ISO-8859-6",
         {{0xA1, 0xA3}, {0xA5, 0xAB}, {0xAE, 0xBA}, {0xBC, 0xBE}, {0xC0, 0xC0}, {0xDB, 0xDF}, {0xF3, 0xFF}}},
        {"ISO-8859-7", {{0xAE, 0xAE}, {0xD2, 0xD2}, {0xFF, 0xFF}}},
        {"ISO-8859-8", {{0xA1, 0xA1}, {0xBF, 0xDE}, {0xFB, 0xFC}, {0xFF, 0xFF}}},
        {"ISO-8859-9", {}},
        {"ISO-8859-10", {}},
        {"ISO-8859-11", {{0xDB, 0xDE}, {0xFC, 0xFF}}},
        {"ISO-8859-13", {}},
        {"ISO-8859-14", {}},
        {"ISO-8859-15", {}},
        {"ISO-8859-16", {}},
        {"CP1250", {{0x81, 0x81}, {0x83, 0x83}, {0x88, 0x88}, {0x90, 0x90}, {0x98, 0x98}}},
        {"CP1251", {{0x98, 0x98}}},
        {"CP1252", {{0x81, 0x81}, {0x8D, 0x8D}, {0x8F, 0x90}, {0x9D, 0x9D}}},
        {"CP1253",
         {{0x81, 0x81},
          {0x88, 0x88},
          {0x8A, 0x8A},
          {0x8C, 0x90},
          {0x98, 0x98},
          {0x9A, 0x9A},
          {0x9C, 0x9F},
          {0xAA, 0xAA},
          {0xD2, 0xD2},
          {0xFF, 0xFF}}},
        {"CP1254", {{0x81, 0x81}, {0x8D, 0x90}, {0x9D, 0x9E}}},
        {"CP1256", {}},
        {"CP1257",
         {{0x81, 0x81},
          {0x83, 0x83},
          {0x88, 0x88},
          {0x8A, 0x8A},
          {0x8C, 0x8C},
          {0x90, 0x90},
          {0x98, 0x98},
          {0x9A, 0x9A},
          {0x9C, 0x9C},
          {0x9F, 0x9F},
          {0xA1, 0xA1},
          {0xA5, 0xA5}}},
        {"KOI8-R", {}},
        {"KOI8-U", {}}};
    return sets;
}

/// Pairs without a character: each first byte with each second one.
struct Gap {
    Range first;
    Range second;
};

/// A set of pairs of bytes.
struct TwoByteSet {
    const char* name;
    Range leads; ///< what a pair may begin with
    std::vector<Gap> unassigned;
};

/// What is without a character in all of them. Rows of GB 2312: the first byte; cells: the second one.
const std::vector<Gap>& CommonGaps() {
    static const std::vector<Gap> gaps{
        {{0x00, 0xFF}, {0xFF, 0xFF}}, // no second byte
        {{0xA2, 0xA2}, {0xE3, 0xE4}}, // row 2
        {{0xA2, 0xA2}, {0xEF, 0xF0}}, {{0xA2, 0xA2}, {0xFD, 0xFE}}, {{0xA4, 0xA4}, {0xF4, 0xFE}},
        {{0xA5, 0xA5}, {0xF7, 0xFE}}, {{0xA6, 0xA6}, {0xB9, 0xC0}}, {{0xA7, 0xA7}, {0xC2, 0xD0}},
        {{0xA7, 0xA7}, {0xF2, 0xFE}}, {{0xA8, 0xA8}, {0xEA, 0xFE}}, {{0xA9, 0xA9}, {0xF0, 0xFE}},
        {{0xAA, 0xAF}, {0xA1, 0xFE}}, // rows 10 to 15
        {{0xD7, 0xD7}, {0xFA, 0xFE}}};
    return gaps;
}

std::vector<Gap> CommonGapsAnd(const std::vector<Gap>& further) {
    std::vector<Gap> gaps = CommonGaps();
    gaps.insert(gaps.end(), further.begin(), further.end());
    return gaps;
}

const std::vector<TwoByteSet>& TwoByteSets() {
    static const std::vector<TwoByteSet> sets{{"GB2312",
                                               {0xA1, 0xFE},
                                               CommonGapsAnd({{{0xA1, 0xFE}, {0x80, 0xA0}},
                                                              {{0xA2, 0xA2}, {0xA1, 0xB0}},
                                                              {{0xA6, 0xA6}, {0xD9, 0xFE}},
                                                              {{0xA8, 0xA8}, {0xBB, 0xC4}},
                                                              {{0xA9, 0xA9}, {0xA1, 0xA3}},
                                                              {{0xF8, 0xFE}, {0xA1, 0xFE}}})},
                                              {"GBK",
                                               {0x81, 0xFE},
                                               CommonGapsAnd({{{0xA1, 0xA7}, {0x80, 0xA0}},
                                                              {{0xA2, 0xA2}, {0xAB, 0xB0}},
                                                              {{0xA6, 0xA6}, {0xD9, 0xDF}},
                                                              {{0xA6, 0xA6}, {0xEC, 0xED}},
                                                              {{0xA6, 0xA6}, {0xF3, 0xF3}},
                                                              {{0xA6, 0xA6}, {0xF6, 0xFE}},
                                                              {{0xA8, 0xA8}, {0x96, 0xA0}},
                                                              {{0xA8, 0xA8}, {0xBC, 0xBC}},
                                                              {{0xA8, 0xA8}, {0xBF, 0xBF}},
                                                              {{0xA8, 0xA8}, {0xC1, 0xC4}},
                                                              {{0xA9, 0xA9}, {0x89, 0x95}},
                                                              {{0xA9, 0xA9}, {0x97, 0xA3}},
                                                              {{0xF8, 0xFD}, {0xA1, 0xFE}},
                                                              {{0xFE, 0xFE}, {0x80, 0xFE}}})},
                                              // Every pair has a character, if of private use.
                                              {"GB18030", {0x81, 0xFE}, {CommonGaps().front()}}};
    return sets;
}

bool IsLead(const TwoByteSet& set, int byte) {
    return byte >= set.leads.first && byte <= set.leads.last;
}

bool IsAssigned(const TwoByteSet& set, int one, int other) {
    return IsLead(set, one) &&
           std::none_of(set.unassigned.begin(), set.unassigned.end(), [&](const Gap& gap) {
               return Holds({gap.first}, one) && Holds({gap.second}, other);
           });
}

} // namespace

TEST(CharsetBytes, OfASetOfSingleBytesAreCharactersOrUndecodable) {
    for (const SingleByteSet& set : SingleByteSets()) {
        std::set<std::string> seen;
        for (int byte = FIRST; byte < END; ++byte) {
            if (Holds(set.unassigned, byte)) {
                EXPECT_EQ(Read(set.name, Byte(byte)), UNDECODABLE) << set.name << ' ' << Hex(Byte(byte));
            } else {
                ExpectNewCharacter(set.name, Byte(byte), seen);
            }
        }
    }
}

TEST(CharsetBytes, OfASetOfSingleBytesMeanTheSameInPairs) {
    for (const SingleByteSet& set : SingleByteSets()) {
        std::vector<Answer> alone;
        for (int byte = FIRST; byte < END; ++byte) {
            alone.push_back(Read(set.name, Byte(byte)));
        }
        for (std::size_t one = 0; one < alone.size(); ++one) {
            for (std::size_t other = 0; other < alone.size(); ++other) {
                const std::string pair =
                    Byte(FIRST + static_cast<int>(one)) + Byte(FIRST + static_cast<int>(other));
                ASSERT_EQ(Read(set.name, pair), Both(alone[one], alone[other]))
                    << set.name << ' ' << Hex(pair);
            }
        }
    }
}

TEST(CharsetBytes, AloneAreIncompleteIfAPairMayBeginAndUndecodableOtherwise) {
    for (const TwoByteSet& set : TwoByteSets()) {
        for (int byte = FIRST; byte < END; ++byte) {
            EXPECT_EQ(Read(set.name, Byte(byte)), IsLead(set, byte) ? INCOMPLETE : UNDECODABLE)
                << set.name << ' ' << Hex(Byte(byte));
        }
    }
}

TEST(CharsetBytes, InPairsAreACharacterOrAnUndecodableByteAndWhatFollows) {
    for (const TwoByteSet& set : TwoByteSets()) {
        std::set<std::string> seen;
        for (int one = FIRST; one < END; ++one) {
            for (int other = FIRST; other < END; ++other) {
                const std::string pair = Byte(one) + Byte(other);
                if (IsAssigned(set, one, other)) {
                    ExpectNewCharacter(set.name, pair, seen);
                } else {
                    EXPECT_EQ(Read(set.name, pair),
                              Both(UNDECODABLE, IsLead(set, other) ? INCOMPLETE : UNDECODABLE))
                        << set.name << ' ' << Hex(pair);
                }
            }
        }
    }
}

TEST(CharsetBytes, OfAFourByteCodeThatDoesNotEndAreIncomplete) {
    for (int lead = 0x81; lead <= 0xFE; ++lead) {
        const bool begins = lead <= 0x84 || (lead >= 0x90 && lead <= 0xE3);
        for (int digit = '0'; digit <= '9'; ++digit) {
            const std::string two = Byte(lead) + Byte(digit);
            EXPECT_EQ(Read("GB18030", two), begins ? INCOMPLETE : Both(UNDECODABLE, {0, Byte(digit)}))
                << Hex(two);
            for (const int third : {0x81, 0xC4, 0xFE}) {
                EXPECT_EQ(Read("GB18030", two + Byte(third)), INCOMPLETE) << Hex(two + Byte(third));
            }
            for (const int third : {0x80, 0xFF}) {
                EXPECT_EQ(Read("GB18030", two + Byte(third)), (Answer{2, "?" + Byte(digit) + "?"}))
                    << Hex(two + Byte(third));
            }
        }
    }
}

TEST(CharsetBytes, OfUtf8AreIncompleteWhereTheLeadByteWantsMore) {
    // Spelt in another way, or nothing would be converted.
    const auto alone = [](int byte) { return byte >= 0xC2 && byte <= 0xF7 ? INCOMPLETE : UNDECODABLE; };
    for (int one = FIRST; one < END; ++one) {
        EXPECT_EQ(Read("utf-8", Byte(one)), alone(one)) << Hex(Byte(one));
        for (int other = FIRST; other < END; ++other) {
            const std::string pair = Byte(one) + Byte(other);
            Answer expected = Both(UNDECODABLE, alone(other));
            if (one >= 0xC2 && one <= 0xDF && other <= 0xBF) {
                expected = {0, pair};
            } else if (one >= 0xE0 && one <= 0xF7) {
                expected = INCOMPLETE;
            }
            EXPECT_EQ(Read("utf-8", pair), expected) << Hex(pair);
        }
    }
}

TEST(CharsetBytes, OfUtf16AreIncompleteIfAUnitOrAPairIsCut) {
    for (int one = FIRST; one < END; ++one) {
        for (const char* set : {"UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
            EXPECT_EQ(Read(set, Byte(one)), INCOMPLETE) << set << ' ' << Hex(Byte(one));
        }
        for (int other = FIRST; other < END; ++other) {
            const std::string pair = Byte(one) + Byte(other);
            for (const bool little : {true, false}) {
                const char* const set = little ? "UTF-16LE" : "UTF-16BE";
                const int high = little ? other : one;
                const Answer answer = Read(set, pair);
                if (high >= 0xD8 && high <= 0xDB) {
                    EXPECT_EQ(answer, INCOMPLETE) << set << ' ' << Hex(pair);
                } else if (high >= 0xDC && high <= 0xDF) {
                    EXPECT_EQ(answer, (Answer{1, "??"})) << set << ' ' << Hex(pair);
                } else {
                    EXPECT_EQ(answer.result, 0) << set << ' ' << Hex(pair);
                    EXPECT_TRUE(IsOneCharacter(answer.text)) << set << ' ' << Hex(pair);
                }
            }
            EXPECT_EQ(Read("UTF-32LE", pair), INCOMPLETE) << Hex(pair);
            EXPECT_EQ(Read("UTF-32BE", pair), INCOMPLETE) << Hex(pair);
        }
    }
}
