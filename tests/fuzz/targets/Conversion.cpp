// SPDX-License-Identifier: Apache-2.0
// Conversion between any two character sets.
#include <httpclient/HttpRequest.h>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"

namespace {

/// A known set by its number, or any name.
std::string Name(const std::string& field) {
    static const std::string known[] = {
        "GBK",         "UTF-8",  "ASCII",     "GB2312",      "EUC-CN",      "GB18030",     "ISO-8859-1",
        "ISO-8859-8",  "CP1250", "CP1252",    "KOI8-R",      "KOI8-U",      "UTF-16",      "UTF-16LE",
        "UTF-16BE",    "UTF-32", "UTF-32LE",  "UTF-32BE",    "UCS-2",       "UCS-4",       "BIG5",
        "EUC-JP",      "EUC-KR", "SHIFT_JIS", "ISO-2022-JP", "ISO-2022-CN", "ISO-2022-KR", "HZ",
        "UTF-7",       "CP1255", "CP1258",    "TCVN",        "BIG5-HKSCS",  "JOHAB",       "ASCII//TRANSLIT",
        "GBK//IGNORE", "UNKOWN"};
    if (field.size() != 1) {
        return field;
    }
    return known[static_cast<unsigned char>(field[0]) % std::size(known)];
}

} // namespace

void FuzzConversion(std::string_view input) {
    static const CHttpRequest request;
    Input fields(input);
    const std::string from = Name(fields.Field());
    const std::string to = Name(fields.Field());
    const std::string text = fields.Rest();

    std::string out = "untouched";
    const int result = request.codeSetConvert(from, to, text, out);
    Require(result >= -1, "the result is a count, or a failure");
    Require(result != -1 || out == "untouched", "a failure leaves the text alone");
    if (from == to) {
        Require(result == 0 && out == text, "between the same names, a copy");
    } else if (result >= 0) {
        Require(out.size() <= 2 * text.size() + 2 && out.find('\0') == std::string::npos,
                "the text fits, and ends before a NUL");
    }
    // Some sets hold a character back until the next one is there, be it in the next text.
    Require(result <= static_cast<int>(text.size()) + 1, "no byte is replaced twice");
}
