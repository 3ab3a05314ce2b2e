// SPDX-License-Identifier: Apache-2.0
// Escaping, unescaping and character-set conversion, as callers of a request use them.
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>

using namespace std::string_literals;

namespace {

constexpr const char* UNTOUCHED = "what stood here before";

struct Conversion {
    int result;
    std::string text;
    bool operator==(const Conversion& other) const { return result == other.result && text == other.text; }
};
std::ostream& operator<<(std::ostream& out, const Conversion& conversion) {
    return out << conversion.result << ' ' << ::testing::PrintToString(conversion.text);
}

Conversion Convert(const std::string& from, const std::string& to, const std::string& in) {
    const CHttpRequest request;
    Conversion conversion{0, UNTOUCHED};
    conversion.result = request.codeSetConvert(from, to, in, conversion.text);
    return conversion;
}

bool StaysAsItIs(unsigned char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

std::string Escaped(unsigned char byte) {
    constexpr const char* HEX = "0123456789ABCDEF";
    return {'%', HEX[byte >> 4U], HEX[byte & 15U]};
}

} // namespace

TEST(EncodeParam, WritesEveryByteAsPromised) {
    const CHttpRequest request;
    std::string all, expected;
    for (unsigned int value = 0; value < 256; ++value) {
        const auto byte = static_cast<unsigned char>(value);
        const std::string text(1, static_cast<char>(byte));
        const std::string escaped = StaysAsItIs(byte) ? text : Escaped(byte);
        EXPECT_EQ(request.encodeParam(text), escaped) << value;
        all += text;
        expected += escaped;
    }
    EXPECT_EQ(request.encodeParam(all), expected) << "the length counts, not a NUL";
}

TEST(EncodeParam, OfNothingIsNothing) {
    EXPECT_EQ(CHttpRequest().encodeParam(""), "");
}

TEST(EncodeParam, EscapesItsOwnResultAgain) {
    const CHttpRequest request;
    EXPECT_EQ(request.encodeParam(request.encodeParam(" ")), "%2520");
}

TEST(DecodeParam, ReadsEveryEscapeInEitherCase) {
    CHttpRequest request;
    for (unsigned int value = 1; value < 256; ++value) {
        const std::string plain(1, static_cast<char>(value));
        std::string escape = Escaped(static_cast<unsigned char>(value));
        EXPECT_EQ(request.decodeParam("<" + escape + ">"), "<" + plain + ">") << escape;
        for (char& digit : escape) {
            digit = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
        }
        EXPECT_EQ(request.decodeParam("<" + escape + ">"), "<" + plain + ">") << escape;
    }
}

TEST(DecodeParam, LeavesEveryOtherByteAsItIs) {
    CHttpRequest request;
    for (unsigned int value = 1; value < 256; ++value) {
        const std::string plain(1, static_cast<char>(value));
        EXPECT_EQ(request.decodeParam(plain), plain) << value;
    }
    EXPECT_EQ(request.decodeParam("a+b"), "a+b");
}

TEST(DecodeParam, OfNothingIsNothing) {
    EXPECT_EQ(CHttpRequest().decodeParam(""), "");
}

TEST(DecodeParam, EndsBeforeTheFirstNul) {
    CHttpRequest request;
    EXPECT_EQ(request.decodeParam("a%00b"), "a");
    EXPECT_EQ(request.decodeParam("%00b"), "");
    EXPECT_EQ(request.decodeParam("%00"), "");
    EXPECT_EQ(request.decodeParam("a\0b"s), "a") << "a NUL that is not escaped";
    EXPECT_EQ(request.decodeParam("a%2500b"), "a%00b") << "no NUL: decoded once";
}

TEST(DecodeParam, LeavesMalformedEscapesAsTheyAre) {
    CHttpRequest request;
    for (const char* text :
         {"%", "%%", "%4", "a%", "a%4", "%zz", "%4z", "%z4", "% 41", "%-1", "%0x41", "%u0041"}) {
        EXPECT_EQ(request.decodeParam(text), text);
    }
    EXPECT_EQ(request.decodeParam("%%41"), "%A");
    EXPECT_EQ(request.decodeParam("%4%41"), "%4A");
    EXPECT_EQ(request.decodeParam("%41%4"), "A%4");
    EXPECT_EQ(request.decodeParam("%z%41"), "%zA");
}

TEST(CodeSetConvert, EqualNamesCopyWhateverTheyAre) {
    const std::string text = "\xFF\0behind"s;
    for (const char* name : {"UTF-8", "GBK", "", "UNKOWN", "no-such-set"}) {
        EXPECT_EQ(Convert(name, name, text), (Conversion{0, text})) << name;
    }
    EXPECT_EQ(Convert("UNKOWN", "UNKOWN", "x"), (Conversion{0, "x"}));
    EXPECT_EQ(Convert("UNKOWN", "UNKOWN", ""), (Conversion{0, ""}));
}

TEST(CodeSetConvert, MarkerOfTheUnknownSetFailsOnEitherSide) {
    EXPECT_EQ(Convert("UTF-8", "UNKOWN", "x"), (Conversion{-1, UNTOUCHED}));
    EXPECT_EQ(Convert("UNKOWN", "UTF-8", "x"), (Conversion{-1, UNTOUCHED}));
    EXPECT_EQ(Convert("UNKOWN", "", "x"), (Conversion{-1, UNTOUCHED}));
    EXPECT_EQ(Convert("", "UNKOWN", ""), (Conversion{-1, UNTOUCHED}));
}

TEST(CodeSetConvert, UnknownSetsFailEachTime) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Convert("no-such-set", "UTF-8", "x"), (Conversion{-1, UNTOUCHED}));
        EXPECT_EQ(Convert("UTF-8", "no-such-set", "x"), (Conversion{-1, UNTOUCHED}));
        EXPECT_EQ(Convert("UNKNOWN", "UTF-8", ""), (Conversion{-1, UNTOUCHED}));
    }
}

TEST(CodeSetConvert, GoesBothWays) {
    EXPECT_EQ(Convert("GBK", "UTF-8", "a\xD6\xD0z"), (Conversion{0, "a\xE4\xB8\xADz"}));
    EXPECT_EQ(Convert("UTF-8", "GBK", "a\xE4\xB8\xADz"), (Conversion{0, "a\xD6\xD0z"}));
    EXPECT_EQ(Convert("gbk", "Utf-8", "\xD6\xD0"), (Conversion{0, "\xE4\xB8\xAD"}));
}

TEST(CodeSetConvert, EmptyTextBecomesEmptyText) {
    EXPECT_EQ(Convert("GBK", "UTF-8", ""), (Conversion{0, ""}));
}

TEST(CodeSetConvert, CountsItsReplacements) {
    EXPECT_EQ(Convert("GBK", "UTF-8",
                      "a\xFF"
                      "b\x80"),
              (Conversion{2, "a?b?"}));
    EXPECT_EQ(Convert("GBK", "UTF-8", "a\x81\x30"), (Conversion{1, "a?0"})) << "one for each byte, no more";
    EXPECT_EQ(Convert("UTF-8", "ASCII", "\xE4\xB8\xAD\xE6\x96\x87!"), (Conversion{2, "?\?!"}));
    EXPECT_EQ(Convert("UTF-8", "GBK", "\xE2\x82\xAC"), (Conversion{1, "?"})) << "GBK has no euro sign";
}

TEST(CodeSetConvert, HalfACharacterAtTheEndFails) {
    EXPECT_EQ(Convert("GBK", "UTF-8", "whole\xD6"), (Conversion{-1, UNTOUCHED}));
    EXPECT_EQ(Convert("UTF-8", "GBK", "whole\xE4\xB8"), (Conversion{-1, UNTOUCHED}));
    EXPECT_EQ(Convert("GBK", "UTF-8", "whole"), (Conversion{0, "whole"})) << "and spoils nothing";
}

TEST(CodeSetConvert, ResultMayGrowToTwiceTheTextAndTwoBytes) {
    const std::string euro = "\xE2\x82\xAC";
    EXPECT_EQ(Convert("CP1252", "UTF-8", "\x80"), (Conversion{0, euro})) << "3 of 4 bytes";
    EXPECT_EQ(Convert("CP1252", "UTF-8", "\x80\x80"), (Conversion{0, euro + euro})) << "6 of 6 bytes";
    EXPECT_EQ(Convert("CP1252", "UTF-8", "\x80\x80\x80"), (Conversion{-1, UNTOUCHED})) << "9 of 8 bytes";
    EXPECT_EQ(Convert("CP1252", "UTF-8", "\x80"), (Conversion{0, euro})) << "and spoils nothing";
}

TEST(CodeSetConvert, ResultEndsBeforeItsFirstNul) {
    EXPECT_EQ(Convert("GBK", "UTF-8", "a\0b"s), (Conversion{0, "a"}));
    EXPECT_EQ(Convert("UTF-8", "UTF-16LE", "a"), (Conversion{0, "a"}));
    EXPECT_EQ(Convert("UTF-8", "UTF-16BE", "a"), (Conversion{0, ""}));
    EXPECT_EQ(Convert("UTF-8", "GBK", "\xE4\xB8\xAD\0\xFF"s), (Conversion{1, "\xD6\xD0"}))
        << "what follows it still counts";
}

TEST(CodeSetConvert, ShiftStateGoesOnFromTextToText) {
    // A spelling of the set that nothing else in this program uses: the state belongs to the pair of names.
    EXPECT_EQ(Convert("uTf-16", "UTF-8",
                      "\xFF\xFE"
                      "a\0"s),
              (Conversion{0, "a"}));
    EXPECT_EQ(Convert("uTf-16", "UTF-8", "b\0"s), (Conversion{0, "b"})) << "still little-endian";
}

TEST(CodeSetConvert, OutputMayBeTheInput) {
    const CHttpRequest request;
    std::string text = "\xD6\xD0";
    EXPECT_EQ(request.codeSetConvert("GBK", "UTF-8", text, text), 0);
    EXPECT_EQ(text, "\xE4\xB8\xAD");
    EXPECT_EQ(request.codeSetConvert("GBK", "GBK", text, text), 0);
    EXPECT_EQ(text, "\xE4\xB8\xAD");
}
