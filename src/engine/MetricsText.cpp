// SPDX-License-Identifier: Apache-2.0
// The text format of Prometheus, version 0.0.4.
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "engine/Snapshot.h"

namespace httpclient::engine {

namespace {

/// How many bytes form the UTF-8 character that a text begins with; 0: it begins with none.
std::size_t CharacterAt(std::string_view text) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    // Number of bytes, and the range that the second is in, by the first (Unicode, table 3-7).
    struct Row {
        unsigned char first, last, size, secondFrom, secondTo;
    };
    static constexpr std::array<Row, 9> ROWS{{{0x00, 0x7F, 1, 0, 0},
                                              {0xC2, 0xDF, 2, 0x80, 0xBF},
                                              {0xE0, 0xE0, 3, 0xA0, 0xBF},
                                              {0xE1, 0xEC, 3, 0x80, 0xBF},
                                              {0xED, 0xED, 3, 0x80, 0x9F},
                                              {0xEE, 0xEF, 3, 0x80, 0xBF},
                                              {0xF0, 0xF0, 4, 0x90, 0xBF},
                                              {0xF1, 0xF3, 4, 0x80, 0xBF},
                                              {0xF4, 0xF4, 4, 0x80, 0x8F}}};
    for (const Row& row : ROWS) {
        if (byte(0) < row.first || byte(0) > row.last || text.size() < row.size) {
            continue;
        }
        bool whole = row.size == 1 || (byte(1) >= row.secondFrom && byte(1) <= row.secondTo);
        for (std::size_t index = 2; index < row.size; ++index) {
            whole = whole && byte(index) >= 0x80 && byte(index) <= 0xBF;
        }
        return whole ? row.size : 0;
    }
    return 0;
}

/// Appends a label's value. What is no UTF-8 is written as "\xNN", its backslash escaped like any other.
void AppendValue(std::string& text, std::string_view value) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    while (!value.empty()) {
        const std::size_t size = CharacterAt(value);
        const char first = value.front();
        if (size == 0) {
            const auto code = static_cast<unsigned char>(first);
            text += R"(\\x)";
            text += DIGITS[code >> 4U];
            text += DIGITS[code & 0x0FU];
        } else if (first == '\\' || first == '"') {
            text += '\\';
            text += first;
        } else if (first == '\n') {
            text += R"(\n)";
        } else {
            text += value.substr(0, size);
        }
        value.remove_prefix(size == 0 ? 1 : size);
    }
}

void AppendSample(std::string& text, const EngineStatistics::Body::Sample& sample) {
    text += sample.name;
    char before = '{';
    for (const auto& [name, value] : sample.labels) {
        text += before;
        text += name;
        text += "=\"";
        AppendValue(text, value);
        text += '"';
        before = ',';
    }
    text += sample.labels.empty() ? " " : "} ";
    text += MetricsNumber(sample.value);
    text += '\n';
}

} // namespace

std::string MetricsNumber(double value) {
    constexpr std::size_t LONGEST = 400; // of a double without an exponent
    std::array<char, LONGEST> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::fixed);
    return {digits.data(), end.ptr};
}

std::string MetricsText(const EngineStatistics::Body& snapshot) {
    std::string text;
    for (std::size_t index = 0; index < snapshot.families.size(); ++index) {
        const EngineStatistics::Body::Family& family = snapshot.families[index];
        const bool isLast = index + 1 == snapshot.families.size();
        const std::size_t end = isLast ? snapshot.samples.size() : snapshot.families[index + 1].begin;
        text.append("# HELP ").append(family.name).append(" ").append(family.help).append("\n");
        text.append("# TYPE ").append(family.name).append(" ").append(family.type).append("\n");
        for (std::size_t sample = family.begin; sample < end; ++sample) {
            AppendSample(text, snapshot.samples[sample]);
        }
    }
    return text;
}

} // namespace httpclient::engine
