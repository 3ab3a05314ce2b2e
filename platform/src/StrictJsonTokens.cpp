// SPDX-License-Identifier: Apache-2.0
#include "StrictJsonTokens.h"

#include <string_view>

namespace {

bool StartsNumber(char c) {
    return c == '-' || c == '+' || c == '.' || (c >= '0' && c <= '9');
}

// Takes a run of digits off the front; false when there is none.
bool TakeDigits(std::string_view& rest) {
    const std::size_t end = rest.find_first_not_of("0123456789");
    const std::size_t count = end == std::string_view::npos ? rest.size() : end;
    rest.remove_prefix(count);
    return count > 0;
}

// Takes one of the given characters off the front, if it is there.
bool TakeOneOf(std::string_view& rest, std::string_view characters) {
    if (rest.empty() || characters.find(rest.front()) == std::string_view::npos) {
        return false;
    }
    rest.remove_prefix(1);
    return true;
}

bool IsNumber(std::string_view token) {
    TakeOneOf(token, "-");
    if (!TakeOneOf(token, "0") && !TakeDigits(token)) {
        return false;
    }
    if (TakeOneOf(token, ".") && !TakeDigits(token)) {
        return false;
    }
    if (TakeOneOf(token, "eE")) {
        TakeOneOf(token, "+-");
        if (!TakeDigits(token)) {
            return false;
        }
    }
    return token.empty();
}

// Takes a string, from its opening quote on; false at a raw control character. A missing end is
// JsonCpp's to find.
bool TakeString(std::string_view& rest) {
    rest.remove_prefix(1);
    while (!rest.empty()) {
        const char c = rest.front();
        if (static_cast<unsigned char>(c) < 0x20) {
            return false;
        }
        rest.remove_prefix(c == '\\' && rest.size() > 1 ? 2 : 1);
        if (c == '"') {
            return true;
        }
    }
    return true;
}

// Takes a number, or whatever is written like one; false when it is none.
bool TakeNumber(std::string_view& rest) {
    const std::size_t end = rest.find_first_not_of("+-.0123456789eE");
    const std::string_view token = rest.substr(0, end);
    rest.remove_prefix(token.size());
    return IsNumber(token);
}

bool TakeToken(std::string_view& rest) {
    const char c = rest.front();
    if (c == '"') {
        return TakeString(rest);
    }
    if (StartsNumber(c)) {
        return TakeNumber(rest);
    }
    rest.remove_prefix(1);
    return c != '\0';
}

} // namespace

bool HasStrictJsonTokens(const std::string& text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        if (!TakeToken(rest)) {
            return false;
        }
    }
    return true;
}
