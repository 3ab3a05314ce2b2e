// SPDX-License-Identifier: Apache-2.0
#include "setting/Mutator.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

using namespace std::literals;

constexpr std::string_view PIECES[] = {
    "{"sv,        "}"sv,          "["sv,           "]"sv,       "\""sv,        ","sv,
    ":"sv,        "null"sv,       "true"sv,        "-1e9"sv,    "1e999"sv,     "99999999999999999999"sv,
    "\\"sv,       "\\u0000"sv,    "\\ud800"sv,     "\0"sv,      "\xff"sv,      "/*"sv,
    "//"sv,       "\n"sv,         "[[[[[["sv,      "{}"sv,      "\"\""sv,      "\xef\xbb\xbf"sv,
    "\"type\""sv, "\"sia\""sv,    "\"service\""sv, "\"jwt\""sv, "\"token\""sv, "*"sv,
    "?"sv,        "\"keyPass\""sv};

} // namespace

std::size_t Mutator::Below(std::size_t limit) {
    return m_random() % limit;
}

std::string Mutator::Mutate(std::string text) {
    for (std::size_t left = 1 + Below(4); left > 0; --left) {
        MutateOnce(text);
    }
    return text;
}

void Mutator::MutateOnce(std::string& text) {
    const std::size_t at = Below(text.size() + 1);
    const std::size_t length = Below(12);
    switch (Below(6)) {
    case 0:
        text.insert(at, PIECES[Below(std::size(PIECES))]);
        break;
    case 1:
        text.erase(at, length);
        break;
    case 2:
        text.insert(Below(text.size() + 1), text.substr(at, length));
        break;
    case 3:
        text.replace(at, std::min(length, text.size() - at), PIECES[Below(std::size(PIECES))]);
        break;
    case 4:
        if (at < text.size()) {
            text[at] = static_cast<char>(Below(256));
        }
        break;
    default:
        text.resize(Below(8) == 0 ? at : text.size());
        break;
    }
}
