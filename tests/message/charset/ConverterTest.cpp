// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "OpenSeam.h"
#include "message/charset/CodeSetConverter.h"

namespace {

using namespace std::string_literals;

TEST(CodeSetConverter, EqualNamesCopyTheTextWhateverTheyAre) {
    for (const char* name : {"UTF-8", "UNKOWN", "no such set", ""}) {
        std::string out = "before";
        EXPECT_EQ(ConvertCodeSet(name, name, "\xC4\0\xFF x"s, out), 0) << name;
        EXPECT_EQ(out, "\xC4\0\xFF x"s) << name;
        EXPECT_EQ(OpenSeam::Opened(name, name), 0) << name;
    }
}

TEST(CodeSetConverter, TheMarkerOfAnUnknownSetFailsOnEitherSide) {
    std::string out = "before";
    EXPECT_EQ(ConvertCodeSet("UNKOWN", "UTF-8", "x", out), -1);
    EXPECT_EQ(ConvertCodeSet("UTF-8", "UNKOWN", "x", out), -1);
    EXPECT_EQ(ConvertCodeSet("", "UNKOWN", "x", out), -1);
    EXPECT_EQ(ConvertCodeSet("UNKOWN", "", "x", out), -1);
    EXPECT_EQ(out, "before");
    EXPECT_EQ(OpenSeam::Opened("UNKOWN", "UTF-8"), 0);
    EXPECT_EQ(OpenSeam::Opened("UTF-8", "UNKOWN"), 0);
}

TEST(CodeSetConverter, UnknownSetsFailEveryTime) {
    std::string out = "before";
    for (int time = 1; time <= 2; ++time) {
        EXPECT_EQ(ConvertCodeSet("NO-SUCH-SET", "UTF-8", "x", out), -1);
        EXPECT_EQ(ConvertCodeSet("GBK", "NO-SUCH-SET", "x", out), -1);
        EXPECT_EQ(OpenSeam::Opened("NO-SUCH-SET", "UTF-8"), time) << "failures are not kept";
    }
    EXPECT_EQ(out, "before");
}

TEST(CodeSetConverter, EmptyNameIsTheLocalesSet) {
    std::string out;
    EXPECT_EQ(ConvertCodeSet("", "UTF-8", "a\xE9", out), 1); // the tests run in the "C" locale: ASCII
    EXPECT_EQ(out, "a?");
}

TEST(CodeSetConverter, UndecodableBytesAndUnrepresentableCharactersBecomeQuestionMarks) {
    std::string out;
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "\xC4\xE3\x80\xFFz", out), 2);
    EXPECT_EQ(out, "\xE4\xBD\xA0??z");
    EXPECT_EQ(ConvertCodeSet("UTF-8", "ISO-8859-1", "\xE4\xBD\xA0\xC3\xA9\xBD", out), 2);
    EXPECT_EQ(out, "?\xE9?");
}

TEST(CodeSetConverter, AnIncompleteLastCharacterFailsAndLeavesTheOutput) {
    std::string out = "before";
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "plain text \xC4", out), -1);
    EXPECT_EQ(ConvertCodeSet("UTF-8", "GBK", "\xE4\xBD", out), -1);
    EXPECT_EQ(ConvertCodeSet("UTF-16LE", "UTF-8", "a\0b"s, out), -1);
    EXPECT_EQ(out, "before");
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "\xC4\xE3", out), 0)
        << "the rest of a failure is not carried over";
    EXPECT_EQ(out, "\xE4\xBD\xA0");
}

TEST(CodeSetConverter, BytesThatBeginNoUtf8CharacterWaitForNoMore) {
    std::string out;
    for (const char* text : {"\x80", "\xBF", "\xC0", "\xC1", "\xF8", "\xFF"}) {
        EXPECT_EQ(ConvertCodeSet("UTF-8", "GBK", text, out), 1) << text;
        EXPECT_EQ(out, "?") << text;
    }
}

TEST(CodeSetConverter, OutputMayFillTwiceTheInputAndTwoBytesAndNotMore) {
    std::string out = "before";
    EXPECT_EQ(ConvertCodeSet("ISO-8859-1", "GB18030", "\x80\x80", out), -1); // eight bytes, room for six
    EXPECT_EQ(out, "before");
    EXPECT_EQ(ConvertCodeSet("ISO-8859-1", "GB18030", "\x80", out), 0); // four bytes, room for four
    EXPECT_EQ(out, "\x81\x30\x81\x30");
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "\xC4\xE3\xC4\xE3", out), 0);
    EXPECT_EQ(out, "\xE4\xBD\xA0\xE4\xBD\xA0");
}

TEST(CodeSetConverter, TextEndsAtItsFirstNul) {
    std::string out;
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "ab\0cd\xFF"s, out), 1) << "what is cut off is still converted";
    EXPECT_EQ(out, "ab");
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "\0"s, out), 0);
    EXPECT_EQ(out, "");
}

TEST(CodeSetConverter, ALineOfHzMayGoOnInTheNext) {
    std::string out;
    EXPECT_EQ(ConvertCodeSet("HZ", "UTF-8", "ab~\ncd~~~{Dc~}e", out), 0);
    EXPECT_EQ(out, "abcd~\xE4\xBD\xA0"
                   "e");
}

TEST(CodeSetConverter, ASwappedByteOrderMarkIsNotWritten) {
    std::string out;
    EXPECT_EQ(ConvertCodeSet("UTF-8", "UTF-16BE", "\xEF\xBF\xBE", out), 0); // U+FFFE
    EXPECT_EQ(ConvertCodeSet("UTF-8", "UTF-16", "a\xEF\xBF\xBE", out), 1);
}

TEST(CodeSetConverter, EmptyTextConvertsToEmptyText) {
    std::string out = "before";
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", "", out), 0);
    EXPECT_EQ(out, "");
}

TEST(CodeSetConverter, OutputMayBeTheInput) {
    std::string text = "\xC4\xE3";
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", text, text), 0);
    EXPECT_EQ(text, "\xE4\xBD\xA0");
}

TEST(CodeSetConverter, LongTextKeepsItsMeaningOnBothSidesOfAsciiRuns) {
    std::string in;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        in += "0123456789abcdef\xC4\xE3/\xFF~";
        expected += "0123456789abcdef\xE4\xBD\xA0/?~";
    }
    std::string out;
    EXPECT_EQ(ConvertCodeSet("GBK", "UTF-8", in, out), 2000);
    EXPECT_EQ(out, expected);
}

TEST(CodeSetConverter, APairIsOpenedOnce) {
    std::string out;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(ConvertCodeSet("Koi8-R", "Utf-8", "\xC1", out), 0);
    }
    EXPECT_EQ(OpenSeam::Opened("Koi8-R", "Utf-8"), 1);
    EXPECT_EQ(ConvertCodeSet("kOI8-R", "Utf-8", "\xC1", out), 0);
    EXPECT_EQ(OpenSeam::Opened("kOI8-R", "Utf-8"), 1) << "another spelling is another pair";
    EXPECT_EQ(OpenSeam::Opened("Koi8-R", "Utf-8"), 1);
}

TEST(CodeSetConverter, AFailureToOpenIsForgotten) {
    std::string out = "before";
    {
        const OpenSeam refused(OpenSeam::Level::Conversion, 1);
        EXPECT_EQ(ConvertCodeSet("cP1251", "utf-8", "\xC0", out), -1);
        EXPECT_EQ(out, "before");
    }
    EXPECT_EQ(ConvertCodeSet("cP1251", "utf-8", "\xC0", out), 0);
    EXPECT_EQ(out, "\xD0\x90");
    EXPECT_EQ(OpenSeam::Opened("cP1251", "utf-8"), 2);
}

#ifndef HTTPCLIENT_GNU_ICONV
TEST(CodeSetConverter, AFailureOfEitherHopIsForgotten) {
    std::string out = "before";
    for (const int hop : {1, 2}) {
        const OpenSeam refused(OpenSeam::Level::LibraryStep, hop);
        EXPECT_EQ(ConvertCodeSet("Cp1251", "Koi8-u", "\xC0", out), -1) << hop;
    }
    EXPECT_EQ(out, "before");
    EXPECT_EQ(ConvertCodeSet("Cp1251", "Koi8-u", "\xC0", out), 0);
    EXPECT_EQ(out, "\xE1");
}
#endif

} // namespace
