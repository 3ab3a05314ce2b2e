// SPDX-License-Identifier: Apache-2.0
#include "TraceText.h"

#include <unistd.h>

namespace Ovexcommon {

namespace {

void AppendEscaped(std::string& text, unsigned char control) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    switch (control) {
    case '\n':
        text += "\\n";
        break;
    case '\r':
        text += "\\r";
        break;
    case '\t':
        text += "\\t";
        break;
    default:
        text += "\\x";
        text += DIGITS[control >> 4];
        text += DIGITS[control & 0x0f];
    }
}

void AppendBracketed(std::string& text, int number) {
    text += '[';
    text += std::to_string(number);
    text += "] ";
}

} // namespace

std::string EscapeControlCharacters(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            AppendEscaped(escaped, byte);
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string TraceLine(int level, int module, const std::string& body) {
    std::string line;
    AppendBracketed(line, level);
    AppendBracketed(line, module);
    AppendBracketed(line, gettid());
    line += EscapeControlCharacters(body);
    return line;
}

} // namespace Ovexcommon
