// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "message/charset/CodeSetConverter.h"
#include "tests/support/Pattern.h"

using httpclient::testing::Pattern;

namespace {

/// A line of the vectors: what a conversion gives.
struct Vector {
    int line;
    std::string from;
    std::string to;
    std::string input; // in hex, as in the file; so is the output
    int result;
    std::string output;
};

std::vector<std::string> Split(const std::string& line) {
    std::vector<std::string> columns(1);
    for (const char c : line) {
        if (c == '\t') {
            columns.emplace_back();
        } else {
            columns.back() += c;
        }
    }
    return columns;
}

std::vector<Vector> ReadVectors() {
    std::ifstream file(CHARSET_VECTORS);
    std::vector<Vector> vectors;
    std::string text;
    for (int line = 1; std::getline(file, text); ++line) {
        if (text.rfind('#', 0) == 0) {
            continue;
        }
        const auto columns = Split(text); // the first one, the group, needs no care: the lines stand in order
        vectors.push_back(
            {line, columns.at(1), columns.at(2), columns.at(3), std::stoi(columns.at(4)), columns.at(5)});
    }
    return vectors;
}

std::string FromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; hex != "-" && i < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string ToHex(const std::string& bytes) {
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string hex;
    for (const char c : bytes) {
        hex += DIGITS[static_cast<unsigned char>(c) >> 4U];
        hex += DIGITS[static_cast<unsigned char>(c) & 0xFU];
    }
    return hex.empty() ? "-" : hex;
}

struct Converted {
    int result;
    std::string output;
};

bool operator==(const Converted& a, const Converted& b) {
    return a.result == b.result && a.output == b.output;
}

std::ostream& operator<<(std::ostream& stream, const Converted& answer) {
    return stream << answer.result << ' ' << answer.output;
}

Converted Convert(const Vector& vector) {
    const std::string untouched = "as it was";
    std::string out = untouched;
    const int result = ConvertCodeSet(vector.from, vector.to, FromHex(vector.input), out);
    if (result != -1) {
        return {result, ToHex(out)};
    }
    return {result, out == untouched ? "-" : "touched: " + ToHex(out)};
}

std::ostream& operator<<(std::ostream& stream, const Vector& vector) {
    return stream << "line " << vector.line << ": " << vector.from << " -> " << vector.to << ' '
                  << vector.input;
}

/// The sets for which every answer is GNU libiconv's.
bool IsCore(const std::string& name) {
    static const Pattern core(
        "(GBK|UTF-8|UTF-(16|32)(LE|BE)|((US-)?ASCII|ANSI_X3.4-19(68|86)|ISO646-US|US|CSASCII)"
        "|GB2312|EUC-CN|EUCCN|CN-GB|CSGB2312|GB18030|ISO[-_]?8859-.*|CP819|(LATIN-?|L)[0-9]+|CSISOLATIN.*"
        "|(CP|WINDOWS-)125[0-46-7]|KOI8-[RU]|CSKOI8R)(//(TRANSLIT|IGNORE))*",
        Pattern::Case::Ignored);
    return core.IsAllOf(name);
}

bool IsCore(const Vector& vector) {
    return IsCore(vector.from) && IsCore(vector.to);
}

TEST(CharsetVectors, EveryPairOfCoreSetsGivesWhatGnuLibiconvGives) {
    int checked = 0;
    for (const Vector& vector : ReadVectors()) {
        if (!IsCore(vector)) {
            continue;
        }
        ++checked;
        EXPECT_EQ(Convert(vector), (Converted{vector.result, vector.output})) << vector;
    }
    EXPECT_GT(checked, 1000);
}

TEST(CharsetVectors, OtherPairsSeldomDifferFromGnuLibiconv) {
    int checked = 0;
    int agreed = 0;
    for (const Vector& vector : ReadVectors()) {
        if (IsCore(vector)) {
            continue;
        }
        const Converted answer = Convert(vector);
        const bool same = answer == Converted{vector.result, vector.output};
        ++checked;
        agreed += same ? 1 : 0;
        if (!same) {
            std::cout << vector << ": " << answer << ", not " << Converted{vector.result, vector.output}
                      << '\n';
        }
    }
    std::cout << agreed << " of " << checked << " agree\n";
#ifdef HTTPCLIENT_GNU_ICONV
    constexpr int PERCENT = 100;
#else
    constexpr int PERCENT = 95;
#endif
    EXPECT_GT(checked, 1000);
    EXPECT_GE(100 * agreed, PERCENT * checked);
}

// An unlucky seed can't be: the bytes are the same in every run.
TEST(CharsetVectors, AnyBytesInAnyPairEndInAResult) {
    unsigned int state = 1;
    const auto next = [&state] { return state = state * 1103515245U + 12345U; };
    for (const Vector& vector : ReadVectors()) {
        std::string in(next() >> 16U & 0x3FU, '\0');
        for (char& c : in) {
            c = static_cast<char>(next() >> 16U);
        }
        std::string out;
        // Spelt as in no vector, so that the states of the sequences are left alone.
        const int result =
            ConvertCodeSet(vector.from + "//ignore//Translit", vector.to + "//Translit", in, out);
        EXPECT_GE(result, -1) << vector;
        EXPECT_LE(out.size(), 2 * in.size() + 2) << vector;
    }
}

} // namespace
