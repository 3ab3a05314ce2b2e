// SPDX-License-Identifier: Apache-2.0
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <json/writer.h>

#include <ovexcommon/JsonReader.h>

namespace {

const std::string NUL(1, '\0');
const std::string REFUSED = "refused";

// The parsed value as compact JSON text, or REFUSED.
std::string Parsed(bool flag, const std::string& text) {
    Json::Value value;
    if (!JsonReader(flag).parse(text, value)) {
        return REFUSED;
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

struct Case {
    const char* name;
    std::string text;
    std::string strict;   // what the flag true gives
    std::string tolerant; // what the flag false gives
};

class JsonReaderTable : public ::testing::TestWithParam<Case> {};

std::string NameOf(const ::testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

// Keeps the bytes of the case out of the name that the test runner shows.
void PrintTo(const Case& value, std::ostream* stream) {
    *stream << value.name;
}

} // namespace

TEST_P(JsonReaderTable, StrictGives) {
    EXPECT_EQ(Parsed(true, GetParam().text), GetParam().strict);
}

TEST_P(JsonReaderTable, TolerantGives) {
    EXPECT_EQ(Parsed(false, GetParam().text), GetParam().tolerant);
}

INSTANTIATE_TEST_SUITE_P(
    Roots, JsonReaderTable,
    ::testing::Values(Case{"Object", R"({"a": {"b": []}})", R"({"a":{"b":[]}})", R"({"a":{"b":[]}})"},
                      Case{"Array", "[1, \"x\", null]", "[1,\"x\",null]", "[1,\"x\",null]"},
                      Case{"String", R"("text")", R"("text")", R"("text")"},
                      Case{"Number", "-12", "-12", "-12"}, Case{"Fraction", "1.5e2", "150.0", "150.0"},
                      Case{"True", "true", "true", "true"}, Case{"False", "false", "false", "false"},
                      Case{"Null", "null", "null", "null"}, Case{"SpaceAround", " \t\r\n7 \t\r\n", "7", "7"},
                      Case{"ByteOrderMark", "\xef\xbb\xbf{}", "{}", "{}"},
                      Case{"Empty", "", REFUSED, REFUSED}, Case{"OnlySpace", "  \n", REFUSED, REFUSED}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Leniencies, JsonReaderTable,
    ::testing::Values(
        Case{"LeadingComment", "// c\n{}", REFUSED, "{}"},
        Case{"InnerComment", "[1, /* c */ 2]", REFUSED, "[1,2]"},
        Case{"TrailingComment", "{} // c", REFUSED, "{}"},
        Case{"CommentMarksInAString", R"("http://x/*y*/")", R"("http://x/*y*/")", R"("http://x/*y*/")"},
        Case{"TrailingCommaInArray", "[1,]", REFUSED, "[1]"},
        Case{"TrailingCommaInObject", R"({"a": 1,})", REFUSED, R"({"a":1})"},
        Case{"SomethingAfterTheValue", "{} x", REFUSED, "{}"}, Case{"ASecondValue", "{}{}", REFUSED, "{}"},
        Case{"RepeatedName", R"({"a": 1, "a": 2})", R"({"a":2})", R"({"a":2})"},
        Case{"LeadingZero", "[01]", REFUSED, "[1]"}, Case{"PlusSign", "[+1]", REFUSED, "[1.0]"},
        Case{"NoFraction", "[1.]", REFUSED, "[1.0]"}, Case{"OnlyASign", "[-]", REFUSED, "[0]"},
        Case{"TwoSigns", "[--1]", REFUSED, REFUSED}, Case{"NoExponent", "[1e]", REFUSED, REFUSED},
        Case{"NoWhole", "[.5]", REFUSED, REFUSED},
        Case{"ZeroFraction", "[0.0, -0.5, 0, 10]", "[0.0,-0.5,0,10]", "[0.0,-0.5,0,10]"},
        Case{"SignedExponents", "[1E+1, 1e-1]", "[10.0,0.10000000000000001]", "[10.0,0.10000000000000001]"},
        Case{"NumberAboveAnyDouble", "1e999", REFUSED, REFUSED},
        Case{"NotANumber", "[NaN]", REFUSED, REFUSED}, Case{"Infinity", "[-Infinity]", REFUSED, REFUSED},
        Case{"SingleQuotes", "{'a': 1}", REFUSED, REFUSED}, Case{"NoQuotes", "{a: 1}", REFUSED, REFUSED},
        Case{"NumberAsName", "{1: 1}", REFUSED, REFUSED}, Case{"DroppedValue", "[1,,2]", REFUSED, REFUSED}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Texts, JsonReaderTable,
    ::testing::Values(Case{"Escapes", R"(["\"\\\/\b\f\n\r\t\u00e9"])",
                           "[\"\\\"\\\\/\\b\\f\\n\\r\\t\\u00e9\"]", "[\"\\\"\\\\/\\b\\f\\n\\r\\t\\u00e9\"]"},
                      Case{"EscapedQuoteBeforeANumber", R"(["\"+1", "\\", 2])", R"(["\"+1","\\",2])",
                           R"(["\"+1","\\",2])"},
                      Case{"EscapedNul", R"(["a\u0000b"])", R"(["a\u0000b"])", R"(["a\u0000b"])"},
                      Case{"RawNul", "[\"a" + NUL + "b\"]", REFUSED, R"(["a\u0000b"])"},
                      Case{"RawLineFeed", "[\"a\nb\"]", REFUSED, R"(["a\nb"])"},
                      Case{"NulAfterTheValue", "{}" + NUL, REFUSED, "{}"},
                      Case{"ValueAfterANul", "{}" + NUL + "{}", REFUSED, "{}"},
                      Case{"NulInAnArray", "[1," + NUL + "2]", REFUSED, REFUSED},
                      Case{"NulBeforeTheValue", NUL + "{}", REFUSED, REFUSED},
                      Case{"UnknownEscape", R"("\x41")", REFUSED, REFUSED},
                      Case{"HalfASurrogatePair", R"("\ud800")", REFUSED, REFUSED},
                      Case{"OpenString", "\"abc", REFUSED, REFUSED},
                      Case{"OpenStringAtABackslash", "\"abc\\", REFUSED, REFUSED},
                      Case{"OpenArray", "[1", REFUSED, REFUSED},
                      Case{"OpenObject", R"({"a": 1)", REFUSED, REFUSED},
                      Case{"HalfAWord", "tru", REFUSED, REFUSED}),
    NameOf);

TEST(JsonReader, ReadsAsDeepAsAThousandLevels) {
    for (const bool flag : {true, false}) {
        Json::Value value;
        EXPECT_TRUE(JsonReader(flag).parse(std::string(1000, '[') + std::string(1000, ']'), value));
        EXPECT_FALSE(JsonReader(flag).parse(std::string(1001, '[') + std::string(1001, ']'), value));
    }
}

TEST(JsonReader, RefusesEndlessNestingWithoutAnException) {
    for (const bool flag : {true, false}) {
        Json::Value value;
        EXPECT_FALSE(JsonReader(flag).parse(std::string(1000000, '['), value));
        std::string objects;
        for (int i = 0; i < 100000; ++i) {
            objects += R"({"a":)";
        }
        EXPECT_FALSE(JsonReader(flag).parse(objects, value));
    }
}

TEST(JsonReader, KeepsNoComments) {
    Json::Value value;
    ASSERT_TRUE(JsonReader(false).parse("// before\n{\"a\": 1 /* behind */}", value));
    EXPECT_EQ(value.toStyledString(), "{\n\t\"a\" : 1\n}\n");
}

TEST(JsonReader, ReadsAgainAfterARefusal) {
    JsonReader reader(true);
    Json::Value value;
    EXPECT_FALSE(reader.parse("[1,", value));
    EXPECT_FALSE(reader.parse(std::string(5000, '['), value));
    ASSERT_TRUE(reader.parse(R"({"token": "t"})", value));
    EXPECT_EQ(value["token"].asString(), "t");
}

TEST(JsonReader, ReplacesWhatTheValueHeld) {
    Json::Value value(Json::arrayValue);
    value.append(1);
    ASSERT_TRUE(JsonReader(true).parse(R"({"a": 1})", value));
    EXPECT_EQ(value.getMemberNames(), Json::Value::Members{"a"});
}
